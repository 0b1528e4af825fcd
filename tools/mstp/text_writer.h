#pragma once

#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "writer.h"

/// Columns that a line of text has at the most, as long as its words can be parted.
inline constexpr size_t TEXT_WIDTH = 110;

struct Cell {
    std::string text;
    Colour colour = Colour::None;
    bool number = false; ///< stands at the right of its column
};

/// @p text as a terminal may have it: what is no UTF-8, or would steer the terminal, as \xNN.
std::string printableText(const std::string& text);

/// Columns of a terminal that @p text takes.
size_t textWidth(const std::string& text);

/// A table whose columns are as wide as what stands in them. Only the last column is parted, at
/// commas, where the line would grow longer than TEXT_WIDTH.
class TextTable {
  public:
    /// Puts a cell into the row being written, under the column of that label.
    void cell(std::vector<Cell>& row, const std::string& label, Cell cell);
    void add(const std::vector<Cell>& row) { m_rows.push_back(row); }
    bool empty() const { return m_rows.empty(); }
    void print(std::ostream& out, bool colour, const std::string& indent = "  ") const;

  private:
    std::vector<size_t> widths() const;
    void printRow(std::ostream& out, const std::vector<Cell>& row,
                  const std::vector<size_t>& widths, bool colour, const std::string& indent) const;

    std::vector<Cell> m_heads;
    std::vector<std::vector<Cell>> m_rows;
};

/// Writes aligned text. Blocks with a heading are parted by an empty line.
class TextWriter : public Writer {
  public:
    /// @param full    fields of Detail::Full too
    /// @param colour  with the terminal's colours
    TextWriter(std::ostream& out, bool full, bool colour)
        : m_out(out), m_full(full), m_colour(colour) {}

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
    struct Line {
        std::string label;
        std::vector<Cell> pieces;
    };
    struct Row {
        std::vector<Cell> cells;
        bool unfolded = false; ///< a table within it has told its lines
    };

    bool wanted(Detail detail) const;
    void heading(const std::string& text);
    void piece(Cell cell);
    void flushLines();
    void printLine(const Line& line, size_t indent, size_t taken);

    std::ostream& m_out;
    bool m_full;
    bool m_colour;
    bool m_started = false;

    std::vector<std::string> m_headings; ///< of the objects that are open; empty = none, or printed
    std::vector<Line> m_lines;           ///< of the innermost object with a heading

    std::optional<TextTable> m_table;
    std::string m_tableHeading;
    std::string m_ifEmpty;
    bool m_silent = false;   ///< the open table is not for this reader
    std::vector<Row> m_rows; ///< open rows, the outermost first
    size_t m_tables = 0;     ///< open tables
};
