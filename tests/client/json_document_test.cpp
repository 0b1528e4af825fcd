// docs/json.md and the JSON that is printed have the same keys, and the types that it tells.

#include <gtest/gtest.h>

#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

#include "changes.h"
#include "golden.h"
#include "json_writer.h"
#include "sample_snapshot.h"
#include "show.h"

using Types = std::map<std::string, std::set<std::string>>;

static std::string trimmed(const std::string& text) {
    const size_t first = text.find_first_not_of(" `");
    const size_t last = text.find_last_not_of(" `");
    return first == std::string::npos ? "" : text.substr(first, last - first + 1);
}

static std::set<std::string> alternatives(const std::string& text) {
    const size_t either = text.find(" or ");
    if (either == std::string::npos) {
        return {text};
    }
    return {text.substr(0, either), text.substr(either + 4)};
}

// Keys and types of the lines "| `key` | type |..." from one heading to the other.
static Types documented(const std::string& heading, const std::string& end) {
    const std::string document = fileText(MSTP_SOURCE_FOLDER "/docs/json.md");
    const size_t start = document.find(heading);
    const size_t stop = end.empty() ? document.size() : document.find(end);
    std::istringstream lines(document.substr(start, stop - start));
    Types types;
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind("| `", 0) != 0) {
            continue;
        }
        std::istringstream cells(line.substr(1));
        std::string key;
        std::string type;
        std::getline(cells, key, '|');
        std::getline(cells, type, '|');
        types[trimmed(key)] = alternatives(trimmed(type));
    }
    return types;
}

static void collect(const nlohmann::json& json, const std::string& path, Types& types) {
    if (json.is_object()) {
        for (const auto& [key, value] : json.items()) {
            collect(value, path.empty() ? key : path + "." + key, types);
        }
    } else if (json.is_array()) {
        for (const auto& entry : json) {
            collect(entry, path + "[]", types);
        }
    } else {
        types[path].insert(json.type_name());
    }
}

static Types printed(const Snapshot& snapshot) {
    JsonWriter writer;
    showAll(writer, snapshot);
    std::ostringstream out;
    writer.print(out);
    Types types;
    collect(nlohmann::json::parse(out.str()), "", types);
    return types;
}

// A snapshot in which everything that can be unknown is.
static Snapshot unknownSnapshot() {
    Snapshot snapshot = sampleSnapshot();
    snapshot.bridge.usedMaxAge.reset();
    snapshot.bridge.usedHelloTime.reset();
    snapshot.bridge.usedForwardDelay.reset();
    snapshot.bridge.usedHops.reset();
    for (InstanceView& view : snapshot.instances) {
        const uint32_t id = view.id;
        view = InstanceView();
        view.id = id;
        view.running = false;
    }
    return snapshot;
}

static std::set<std::string> keysOf(const Types& types) {
    std::set<std::string> keys;
    for (const auto& [key, type] : types) {
        keys.insert(key);
    }
    return keys;
}

TEST(JsonDocument, HasTheKeysThatArePrintedAndNoOthers) {
    EXPECT_EQ(keysOf(documented("# The JSON", "## Watch")), keysOf(printed(sampleSnapshot())));
}

TEST(JsonDocument, TellsTheTypesThatArePrinted) {
    Types types = printed(sampleSnapshot());
    for (const auto& [key, more] : printed(unknownSnapshot())) {
        types[key].insert(more.begin(), more.end());
    }

    EXPECT_EQ(documented("# The JSON", "## Watch"), types);
}

TEST(JsonDocument, TellsTheKeysAndTypesOfWatch) {
    Change change;
    change.port = "eth1";
    change.hadOld = true;
    Types types;
    for (int kind = 0; kind <= static_cast<int>(ChangeKind::DaemonBack); kind++) {
        change.kind = static_cast<ChangeKind>(kind);
        collect(nlohmann::json::parse(changeJson(change, {})), "", types);
    }

    EXPECT_EQ(documented("## Watch", ""), types);
}
