#include "json_writer.h"

JsonWriter::JsonWriter() {
    m_open.push_back({&m_root, 0});
}

void JsonWriter::print(std::ostream& out) const {
    // A region's name may hold any byte; what is no UTF-8 is replaced rather than refused.
    out << m_root.dump(2, ' ', false, Json::error_handler_t::replace) << "\n";
}

void JsonWriter::line(const std::string& /*label*/) {}

void JsonWriter::field(const std::string& key, const std::string& /*label*/, const Shown& value,
                       Detail /*detail*/) {
    Json& json = (*m_open.back().json)[key];
    if (const auto* truth = std::get_if<bool>(&value.data)) {
        json = *truth;
    } else if (const auto* number = std::get_if<uint32_t>(&value.data)) {
        json = *number;
    } else if (const auto* word = std::get_if<std::string>(&value.data)) {
        json = *word;
    } else {
        json = nullptr;
    }
}

void JsonWriter::flag(const std::string& key, const std::string& label, bool value, Detail detail) {
    field(key, label, {value, ""}, detail);
}

void JsonWriter::beginObject(const std::string& key, const std::string& /*heading*/) {
    Json& json = (*m_open.back().json)[key];
    if (json.is_null()) {
        json = Json::object();
    }
    m_open.push_back({&json, 0});
}

void JsonWriter::endObject() {
    m_open.pop_back();
}

void JsonWriter::beginList(const std::string& key) {
    Json& json = (*m_open.back().json)[key];
    if (json.is_null()) {
        json = Json::array();
    }
    m_open.push_back({&json, 0});
}

void JsonWriter::endList() {
    m_open.pop_back();
}

void JsonWriter::beginItem(const std::string& /*heading*/) {
    Open& list = m_open.back();
    if (list.next == list.json->size()) {
        list.json->push_back(Json::object());
    }
    Json& entry = (*list.json)[list.next++];
    m_open.push_back({&entry, 0});
}

void JsonWriter::endItem() {
    m_open.pop_back();
}

void JsonWriter::beginTable(const std::string& key, const std::string& /*heading*/,
                            const std::string& /*ifEmpty*/, Detail /*detail*/) {
    beginList(key);
}

void JsonWriter::endTable() {
    endList();
}

void JsonWriter::beginRow() {
    beginItem("");
}

void JsonWriter::endRow() {
    endItem();
}
