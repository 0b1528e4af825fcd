#pragma once

/// Where the show commands write. A command tells what there is once, as objects, lists, tables and
/// fields; a writer makes aligned text or JSON of it.
///
/// Keys are the names of JSON, labels and headings those of text. A key that is opened again goes
/// on where it was left, and its list starts over at the first entry: so several tables that are
/// narrow enough to be read make one list whose entries have all their fields.

#include <cstdint>
#include <string>
#include <variant>

enum class Colour { None, Good, Waiting, Bad };

/// Who reads a field as text; JSON has them all.
enum class Detail {
    Glance, ///< everybody
    Full,   ///< who asked for this object alone
    Data,   ///< nobody
};

/// A value, and how people write it.
struct Shown {
    std::variant<std::monostate, bool, uint32_t, std::string> data; ///< monostate = not known
    std::string text;
    Colour colour = Colour::None;
};

/// A number, with its unit in text.
Shown numberValue(uint32_t number, const std::string& unit = "");

/// Text, which may say more to people than @p data.
Shown wordValue(const std::string& word, Colour colour = Colour::None);
Shown wordValue(const std::string& data, const std::string& text, Colour colour = Colour::None);

Shown noValue(const std::string& text = "-");

class Writer {
  public:
    virtual ~Writer() = default;

    /// An object. With a heading its fields stand in lines below; without one they go on where the
    /// writer is.
    template <class Body>
    void object(const std::string& key, const std::string& heading, Body body) {
        beginObject(key, heading);
        body();
        endObject();
    }

    /// A list whose entries are told one after the other, each by item().
    template <class Body> void list(const std::string& key, Body body) {
        beginList(key);
        body();
        endList();
    }
    template <class Body> void item(const std::string& heading, Body body) {
        beginItem(heading);
        body();
        endItem();
    }

    /// A list that text shows as a table, an entry by row(). A table within a row gives a line for
    /// each of its own rows, which all begin with the fields of the row around it.
    /// @param ifEmpty  what text says instead of a table without rows; empty = nothing at all
    /// @param detail   who sees the table as text
    template <class Body>
    void table(const std::string& key, const std::string& heading, const std::string& ifEmpty,
               Detail detail, Body body) {
        beginTable(key, heading, ifEmpty, detail);
        body();
        endTable();
    }
    template <class Body> void row(Body body) {
        beginRow();
        body();
        endRow();
    }

    /// In an object: the next fields stand in a line of their own, which begins with @p label.
    virtual void line(const std::string& label) = 0;

    virtual void field(const std::string& key, const std::string& label, const Shown& value,
                       Detail detail = Detail::Glance) = 0;

    /// A truth. At a glance text has its label, and only when it is true.
    virtual void flag(const std::string& key, const std::string& label, bool value,
                      Detail detail = Detail::Glance) = 0;

  protected:
    virtual void beginObject(const std::string& key, const std::string& heading) = 0;
    virtual void endObject() = 0;
    virtual void beginList(const std::string& key) = 0;
    virtual void endList() = 0;
    virtual void beginItem(const std::string& heading) = 0;
    virtual void endItem() = 0;
    virtual void beginTable(const std::string& key, const std::string& heading,
                            const std::string& ifEmpty, Detail detail) = 0;
    virtual void endTable() = 0;
    virtual void beginRow() = 0;
    virtual void endRow() = 0;
};
