#include "help.h"

#include "settings.h"

static std::string setDetails() {
    return "Bridge: mstp set bridge NAME VALUE\n" + settingsHelp(Object::Bridge) +
           "\nRegion: mstp set region NAME VALUE\n" + settingsHelp(Object::Region) +
           "\nPort: mstp set port IFACE NAME VALUE\n" + settingsHelp(Object::Port) +
           "\nInstance: mstp set instance N NAME VALUE\n" + settingsHelp(Object::Instance) +
           "\nPort in an instance: mstp set instance N port IFACE NAME VALUE\n" +
           settingsHelp(Object::InstancePort) +
           "\nA fresh daemon's values stand in parentheses. The times bound each other:\n"
           "2 x (forward-delay - 1) >= max-age >= 2 x (hello-time + 1).\n";
}

CommandHelp getHelp() {
    return {
        "get", "read a single value",
        "mstp get bridge|region|port IFACE|instance N [port IFACE] [NAME]",
        "The value stands alone on its line, in the units in which it is set: seconds, on|off,\n"
        "words, VLAN lists. Without NAME all of them are listed.\n"
        "\nmstp get bridge NAME\n" +
            readingsHelp(Object::Bridge) + "\nmstp get region NAME\n" +
            readingsHelp(Object::Region) + "\nmstp get port IFACE NAME\n" +
            readingsHelp(Object::Port) + "\nmstp get instance N NAME\n" +
            readingsHelp(Object::Instance) + "\nmstp get instance N port IFACE NAME\n" +
            readingsHelp(Object::InstancePort)};
}

std::vector<CommandHelp> configuringHelp() {
    return {
        {"instance", "create or remove a spanning tree instance", "mstp instance add|del N",
         "Instance 0 is the CIST, the tree that every bridge has: create it first. An instance\n"
         "that exists already is left as it is.\n"},
        {"port", "make an interface a port of the bridge, or take it out",
         "mstp port add|del IFACE",
         "A port that is taken out forwards everything. What was set on it is forgotten.\n"},
        {"set", "change a setting",
         "mstp set bridge|region|port IFACE|instance N [port IFACE] "
         "NAME VALUE",
         setDetails()},
        {"map", "create instances anew and deal VLANs out to them",
         "mstp map instances LIST vlans LIST",
         "\"mstp map instances 0-3 vlans 1-100\" removes ALL instances, creates those of the list\n"
         "(0-63) afresh and deals the VLANs (1-4094) out in turn: 1 to instance 0, 2 to\n"
         "instance 1, ... 5 to instance 0 again. It also takes all ports out of the bridge: bring\n"
         "them in again with \"mstp port add\". Without 0 in the list there is no CIST.\n"},
        {"mirror", "hand the daemon a BPDU as if a port had heard it", "mstp mirror IFACE HEXBYTES",
         "This is how a second control unit hands over what it hears. HEXBYTES is the BPDU from\n"
         "behind its LLC header.\n"},
    };
}

std::string sessionHelp() {
    return "Two instances over four ports, VLANs 10-19 in the one and 20-29 in the other:\n"
           "  mstp set region name campus        bridges of one region agree in this name, the\n"
           "  mstp set region revision 1         revision, and in which VLAN is in which instance\n"
           "  mstp instance add 0                the CIST, for all VLANs that are in no other\n"
           "  mstp instance add 1\n"
           "  mstp instance add 2\n"
           "  mstp set instance 1 vlans 10-19\n"
           "  mstp set instance 2 vlans 20-29\n"
           "  mstp set instance 1 priority 4096  this bridge wants to be the root of 1,\n"
           "  mstp set instance 2 priority 8192  and second to become that of 2\n"
           "  mstp port add eth1                 and so on for eth2, eth3, eth4\n"
           "  mstp set port eth4 edge on         a host is behind it, no bridge\n"
           "  mstp set instance 2 port eth1 cost 20000\n"
           "  mstp show                          what came of it\n"
           "  mstp save /etc/mstp.conf           and \"mstp -f /etc/mstp.conf\" after a restart\n"
           "\"mstp set --help\" lists every setting with its range, \"mstp get --help\" all that "
           "can\n"
           "be read.\n"
           "\n"
           "A file of commands holds the commands set, port, instance, map and mirror as above,\n"
           "one a line without \"mstp\"; # begins a comment, \"...\" holds blanks. All lines are\n"
           "checked before the first is sent, and what is wrong is told as FILE:LINE: reason.\n"
           "\n"
           "Exit codes:\n"
           "  0  done\n"
           "  1  refused, by a rule or by the daemon; the reason is on standard error\n"
           "  2  wrong command line\n"
           "  3  no daemon answers\n";
}

std::string showHelp() {
    return "Without a form all of it is shown at a glance; a form shows all that can be read of "
           "its\n"
           "objects. --json prints the same for programs, under keys that are stable. --dot draws\n"
           "what the bridge sees of its trees: mstp show --dot | dot -Tsvg >trees.svg\n";
}

std::string watchHelp() {
    return "Tells first what there is, then a line for each change, with its time: links, roots,\n"
           "roles and states, topology changes. It goes on when the daemon ends and comes back.\n";
}

std::string saveHelp() {
    return "What differs from a fresh daemon's values is written, in an order in which a fresh\n"
           "daemon can take it. Start the daemon and run \"mstp -f FILE\" to be where it was.\n";
}

std::string restoreHelp() {
    return "The daemon appends every request that changes something to mstpCmd.restore in its run\n"
           "folder, also those of this replay: move the file away before the daemon is started\n"
           "and replay what was moved. What the daemon refused then is refused again; it is\n"
           "counted, and the exit code is 0. Nothing is sent of a damaged file.\n";
}
