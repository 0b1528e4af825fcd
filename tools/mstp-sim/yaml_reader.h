#pragma once

/// YAML with a place for every complaint. A reader collects errors instead of stopping at the
/// first; what could not be read has its default.

#include <yaml-cpp/yaml.h>

#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "scenario.h"

namespace simtool {

struct Complaint {
    Place place;
    std::string text;
};

/// The file or the arguments are no good; the text is ready to be printed.
class BadInput : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

class Complaints {
  public:
    void add(const YAML::Node& node, const std::string& text) { add(placeOf(node), text); }
    void add(const Place& place, const std::string& text) { m_list.push_back({place, text}); }
    bool empty() const { return m_list.empty(); }
    /// "FILE:LINE:COLUMN: TEXT" in lines, by place.
    std::string text(const std::string& file) const;

    static Place placeOf(const YAML::Node& node);

  private:
    std::vector<Complaint> m_list;
};

/// The fields of a mapping. Each is asked for by its name; those that nobody asked for are unknown.
class Fields {
  public:
    /// @param what  the mapping as people call it: "a link"
    Fields(Complaints& complaints, const YAML::Node& node, std::string what);

    /// The field's node; not defined if it is not there.
    YAML::Node get(const std::string& name);
    bool has(const std::string& name) { return get(name).IsDefined(); }
    /// All fields left over, which now count as asked for.
    std::vector<std::pair<YAML::Node, YAML::Node>> rest();
    /// Complains about fields that nobody asked for, with those that there could be.
    void finish();
    /// Complains about one field; @p more could stand there besides those asked for.
    void unknown(const YAML::Node& key, const std::vector<std::string>& more = {});

    const YAML::Node& node() const { return m_node; }

  private:
    Complaints& m_complaints;
    YAML::Node m_node;
    std::string m_what;
    std::vector<std::pair<YAML::Node, YAML::Node>> m_fields;
    std::set<std::string> m_asked;
    std::vector<std::string> m_known; ///< in the order asked
};

/// "30s", "1.5ms", "10us", "2min", or seconds.
std::optional<Microseconds> parseTime(const std::string& text);
/// "1%" or "0.01".
std::optional<double> parseShare(const std::string& text);
/// "10M", "1G", or megabits per second; in kb/s.
std::optional<uint64_t> parseSpeed(const std::string& text);

// Each reads a scalar and complains if it is none of the kind.
std::string readText(Complaints& complaints, const YAML::Node& node);
uint64_t readNumber(Complaints& complaints, const YAML::Node& node, uint64_t least, uint64_t most,
                    uint64_t initial);
Microseconds readTime(Complaints& complaints, const YAML::Node& node);
double readShare(Complaints& complaints, const YAML::Node& node);
uint64_t readSpeed(Complaints& complaints, const YAML::Node& node);
bool readSwitch(Complaints& complaints, const YAML::Node& node);
/// The word's index among @p words.
size_t readWord(Complaints& complaints, const YAML::Node& node,
                const std::vector<std::string>& words);

/// The one of @p known that was probably meant; empty if none is near.
std::string nearest(const std::string& word, const std::vector<std::string>& known);

std::string joined(const std::vector<std::string>& words, const std::string& between = ", ");

} // namespace simtool
