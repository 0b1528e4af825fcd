#include "get.h"

#include "rules.h"
#include "text_writer.h"

std::optional<Value> readValue(const Daemon& daemon, const Target& target, const Setting& setting) {
    const auto [selector, keys] = addressOf(target);
    if (!setting.octets()) {
        return readNumber(daemon, selector, keys, setting.attribute);
    }
    Reply reply = daemon.getOctets(selector, keys, setting.attribute);
    return reply.result == 0 ? std::optional<Value>(std::move(reply.octets)) : std::nullopt;
}

[[noreturn]] static void refuse(const Daemon& daemon, const Target& target,
                                const std::string& what) {
    const Expected state = Expected::read(daemon);
    // The bridge's times in force are those of the CIST.
    std::string reason = target.object == Object::Bridge ? state.missing({Object::Instance, 0, ""})
                                                         : state.missing(target);
    throw Refused(what + ": " + (reason.empty() ? "refused by the daemon" : reason));
}

static void getOne(std::ostream& out, const Daemon& daemon, const Target& target,
                   const std::string& name) {
    const Setting& setting = findSetting(target.object, name, Access::Read);
    const auto value = readValue(daemon, target, setting);
    if (!value) {
        refuse(daemon, target, "get " + targetWords(target) + " " + name);
    }
    out << formatValue(setting, *value) << "\n";
}

static void getAll(std::ostream& out, const Daemon& daemon, const Target& target) {
    const std::string reason = Expected::read(daemon).missing(target);
    if (!reason.empty()) {
        throw Refused("get " + targetWords(target) + ": " + reason);
    }
    TextTable table;
    for (const Setting& setting : settings()) {
        if (setting.object != target.object || !setting.readable()) {
            continue;
        }
        const auto value = readValue(daemon, target, setting);
        std::vector<Cell> row;
        table.cell(row, "NAME", {setting.name});
        table.cell(row, "VALUE", {value ? printableText(formatValue(setting, *value)) : "-"});
        table.add(row);
    }
    table.print(out, false, "");
}

void getWords(std::ostream& out, const Daemon& daemon, const std::vector<std::string>& words) {
    size_t position = 1;
    const Target target = parseTarget(words, position);
    const size_t names = words.size() - position;
    if (names == 0) {
        getAll(out, daemon, target);
    } else if (names == 1) {
        getOne(out, daemon, target, words[position]);
    } else {
        refuseForm(words[0]);
    }
}
