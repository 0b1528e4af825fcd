#include "writer.h"

Shown numberValue(uint32_t number, const std::string& unit) {
    const std::string text = std::to_string(number);
    return {number, unit.empty() ? text : text + " " + unit};
}

Shown wordValue(const std::string& word, Colour colour) {
    return {word, word, colour};
}

Shown wordValue(const std::string& data, const std::string& text, Colour colour) {
    return {data, text, colour};
}

Shown noValue(const std::string& text) {
    return {std::monostate(), text};
}
