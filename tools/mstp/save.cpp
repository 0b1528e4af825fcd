// The order of the lines matters, because some changes undo others. A change of version starts
// every instance afresh, without its ports' costs and priorities; an instance keeps the bridge's
// address that it found when it was created; a port takes whether its link is point to point when
// it is restarted, which a set of its edge is, and its MAC is turned on then; nothing starts a
// fresh bridge but a reset, which every change of the region is. So: the bridge and the region,
// then instances with their VLANs, then a version that ends MSTIs, then ports, and last what is
// set on ports in instances.

#include "save.h"

#include <sstream>

#include "get.h"
#include "model.h"
#include "mstp/enums.h"
#include "mstp/management.h"
#include "rules.h"

namespace {

class Saver {
  public:
    Saver(const Daemon& daemon, std::ostream& warnings)
        : m_daemon(daemon), m_warnings(warnings), m_state(Expected::read(daemon)) {}

    std::string save() {
        saveHeader();
        saveBridge();
        m_text << "\n";
        for (const auto& instance : m_state.vlans) {
            saveInstance(instance.first);
        }
        if (m_state.version < MSTP_FORCE_ATUODOT1S) {
            saveSetting({}, findSetting(Object::Bridge, "version", Access::Read));
        }
        savePorts();
        if (!m_state.times.brokenRule().empty()) {
            m_warnings << "the bridge's times break a rule, so the file will be refused: "
                       << m_state.times.brokenRule() << "\n";
        }
        return m_text.str();
    }

  private:
    void saveHeader() {
        m_text << "# Configuration of the bridge " << read({}, "mac") << " in region "
               << quoteWord(read({Object::Region, 0, ""}, "name")) << ".\n"
               << "# \"mstp -f FILE\" puts it in force on a freshly started daemon.\n\n";
    }

    void saveBridge() {
        if (m_state.version >= MSTP_FORCE_ATUODOT1S) {
            line("set bridge version " + read({}, "version"));
        }
        m_text << "# Leave the address out where the file is for another bridge.\n";
        saveAll({});
        saveAll({Object::Region, 0, ""});
    }

    void saveInstance(uint32_t instance) {
        const Target target = {Object::Instance, instance, ""};
        line("instance add " + std::to_string(instance));
        // The CIST has every VLAN that no other instance has, without being told.
        const std::string vlans = read(target, "vlans");
        if (instance != 0 && vlans != "none") {
            line("set " + targetWords(target) + " vlans " + vlans);
        }
        saveAll(target);
    }

    void savePorts() {
        std::vector<std::string> ports;
        for (const uint32_t unit : m_state.ports) {
            if (interfaceUnit(interfaceName(unit)) == unit) {
                ports.push_back(interfaceName(unit));
            } else {
                warn("# port " + std::to_string(unit), "its interface is gone");
            }
        }
        m_text << "\n";
        for (const std::string& port : ports) {
            line("port add " + quoteWord(port));
        }
        for (const std::string& port : ports) {
            saveAll({Object::Port, 0, port});
        }
        for (const auto& instance : m_state.vlans) {
            for (const std::string& port : ports) {
                saveAll({Object::InstancePort, instance.first, port});
            }
        }
    }

    // The version stands elsewhere; the port's own cost is that in instance 0.
    void saveAll(const Target& target) {
        bool restart = false;
        for (const Setting& setting : settings()) {
            const bool elsewhere =
                (target.object == Object::Bridge && setting.attribute == MSTP_GEN_FORCEVERSION) ||
                (target.object == Object::Port && (setting.attribute == MSTP_PORT_ADMINNONSTP ||
                                                   setting.attribute == MSTP_PORT_ADMINPATHCOST));
            if (setting.object != target.object || elsewhere) {
                continue;
            }
            const bool edge =
                target.object == Object::Port && setting.attribute == MSTP_PORT_ADMINEDGE;
            const bool saved = saveSetting(target, setting, edge && restart);
            restart = restart || (saved && target.object == Object::Port &&
                                  setting.attribute == MSTP_PORT_ADMINPOINTTOPOINT);
        }
    }

    // What is not a fresh daemon's value, or @p always. @return true if there is a line for it
    bool saveSetting(const Target& target, const Setting& setting, bool always = false) {
        const bool own = setting.kind == Kind::Text || setting.kind == Kind::Mac;
        if (!setting.settable() || !setting.readable() || (!own && !setting.initial)) {
            return false;
        }
        const auto value = readValue(m_daemon, target, setting);
        if (!value) {
            return false;
        }
        const std::string text = formatValue(setting, *value);
        if (!own && !always && text == formatValue(setting, *setting.initial)) {
            return false;
        }
        line("set " + targetWords(target) + " " + setting.name + " " + quoteWord(text));
        return true;
    }

    std::string read(const Target& target, const char* name) const {
        const Setting& setting = findSetting(target.object, name, Access::Read);
        const auto value = readValue(m_daemon, target, setting);
        return value ? formatValue(setting, *value) : "none";
    }

    // A value that something else than this client set may be out of range here.
    void line(const std::string& text) {
        try {
            parseCommand(splitWords(text));
            m_text << text << "\n";
        } catch (const std::runtime_error& error) {
            warn("# " + text, error.what());
        }
    }

    void warn(const std::string& text, const std::string& reason) {
        m_text << text << "  # left out: " << reason << "\n";
        m_warnings << "left out: " << text.substr(2) << ": " << reason << "\n";
    }

    const Daemon& m_daemon;
    std::ostream& m_warnings;
    Expected m_state;
    std::ostringstream m_text;
};

} // namespace

std::string savedConfiguration(const Daemon& daemon, std::ostream& warnings) {
    return Saver(daemon, warnings).save();
}
