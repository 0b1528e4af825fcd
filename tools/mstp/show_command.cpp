#include "show_command.h"

#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "dot.h"
#include "json_writer.h"
#include "settings.h"
#include "show.h"
#include "text_writer.h"

namespace {

struct Form {
    const char* name;
    uint32_t parts;
    void (*tell)(Writer& writer, const Snapshot& snapshot);
};

constexpr uint32_t PARTS_OF_PORTS = PART_INSTANCES | PART_PORTS | PART_INSTANCE_PORTS;

constexpr Form FORMS[] = {
    {"", PART_ALL, showAll},
    {"bridge", PART_BRIDGE, showBridge},
    {"region", PART_REGION, showRegion},
    {"instances", PART_INSTANCES, showInstances},
    {"ports", PARTS_OF_PORTS, showPorts},
    {"port", PARTS_OF_PORTS, nullptr},
    {"counters", PART_PORTS, showCounters},
};

const Form& formOf(const std::string& name) {
    for (const Form& form : FORMS) {
        if (name == form.name) {
            return form;
        }
    }
    return FORMS[0];
}

// "auto" colours for a terminal that can, unless the user asked for none anywhere.
bool wantsColour(const std::string& choice) {
    if (choice != "auto") {
        return choice == "always";
    }
    const char* const none = getenv("NO_COLOR");
    const char* const terminal = getenv("TERM");
    const bool dumb = terminal == nullptr || strcmp(terminal, "dumb") == 0;
    return (none == nullptr || none[0] == '\0') && !dumb && isatty(STDOUT_FILENO) != 0;
}

void tell(Writer& writer, const Snapshot& snapshot, const Form& form, uint32_t unit) {
    if (form.tell != nullptr) {
        form.tell(writer, snapshot);
        return;
    }
    const PortView* port = snapshot.port(unit);
    if (port == nullptr) {
        throw Refused("\"" + interfaceName(unit) +
                      "\" is no port of the bridge; add it with \"mstp port add\"");
    }
    showPort(writer, snapshot, *port);
}

void draw(std::ostream& out, const Snapshot& snapshot, std::optional<uint32_t> instance) {
    if (instance && snapshot.instance(*instance) == nullptr) {
        throw Refused("there is no instance " + std::to_string(*instance));
    }
    drawDot(out, snapshot, instance);
}

} // namespace

std::vector<std::string> showForms() {
    std::vector<std::string> names;
    for (const Form& form : FORMS) {
        if (form.name[0] != '\0') {
            names.emplace_back(form.name);
        }
    }
    return names;
}

void runShow(std::ostream& out, const Daemon& daemon, const ShowOptions& options) {
    const Form& form = formOf(options.form);
    const Snapshot snapshot = readSnapshot(daemon, form.parts);
    if (options.dot) {
        draw(out, snapshot, options.instance);
    } else if (options.json) {
        JsonWriter writer;
        tell(writer, snapshot, form, options.unit);
        writer.print(out);
    } else {
        TextWriter writer(out, !options.form.empty(), wantsColour(options.colour));
        tell(writer, snapshot, form, options.unit);
    }
}
