#include "mstp_main.h"

int main(int argc, char** argv) {
    return mstpStart(argc, argv);
}
