#pragma once

#include <nlohmann/json.hpp>
#include <ostream>
#include <vector>

#include "writer.h"

/// Writes one JSON object, with the keys in the order in which they were first told.
class JsonWriter : public Writer {
  public:
    JsonWriter();

    /// Prints what was told.
    void print(std::ostream& out) const;

    void line(const std::string& label) override;
    void field(const std::string& key, const std::string& label, const Shown& value,
               Detail detail) override;
    void flag(const std::string& key, const std::string& label, bool value, Detail detail) override;

  protected:
    void beginObject(const std::string& key, const std::string& heading) override;
    void endObject() override;
    void beginList(const std::string& key) override;
    void endList() override;
    void beginItem(const std::string& heading) override;
    void endItem() override;
    void beginTable(const std::string& key, const std::string& heading, const std::string& ifEmpty,
                    Detail detail) override;
    void endTable() override;
    void beginRow() override;
    void endRow() override;

  private:
    using Json = nlohmann::ordered_json;
    struct Open {
        Json* json;  ///< stays where it is: only the innermost one grows
        size_t next; ///< of a list: the entry that comes next
    };

    Json m_root = Json::object();
    std::vector<Open> m_open;
};
