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
