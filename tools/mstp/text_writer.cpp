// Aligned text. Lines of an object and rows of a table are kept until their widths are known;
// widths count what a terminal shows, so colours and letters of several bytes leave all in line.

#include "text_writer.h"

#include <algorithm>
#include <cstdio>

static constexpr size_t COLUMN_GAP = 2;
static const std::string INDENT = "  ";

// ---- what a terminal shows

// Bytes of the UTF-8 sequence that begins here. @return 0 if none does
static size_t sequenceLength(const std::string& text, size_t at) {
    const auto byte = [&](size_t i) { return static_cast<uint8_t>(text[i]); };
    const uint8_t lead = byte(at);
    const size_t length = lead < 0x80                   ? 1
                          : lead >= 0xC2 && lead < 0xE0 ? 2
                          : lead >= 0xE0 && lead < 0xF0 ? 3
                          : lead >= 0xF0 && lead < 0xF5 ? 4
                                                        : 0;
    if (length == 0 || at + length > text.size()) {
        return 0;
    }
    for (size_t i = 1; i < length; i++) {
        if ((byte(at + i) & 0xC0) != 0x80) {
            return 0;
        }
    }
    return length;
}

static bool steersTerminal(const std::string& text, size_t at, size_t length) {
    const auto lead = static_cast<uint8_t>(text[at]);
    const bool c0 = lead < 0x20 || lead == 0x7F;
    const bool c1 = length == 2 && lead == 0xC2 && static_cast<uint8_t>(text[at + 1]) < 0xA0;
    return c0 || c1;
}

static std::string hexEscape(const std::string& bytes) {
    std::string text;
    for (const char byte : bytes) {
        char buffer[8];
        snprintf(buffer, sizeof buffer, "\\x%02x", static_cast<uint8_t>(byte));
        text += buffer;
    }
    return text;
}

std::string printableText(const std::string& text) {
    std::string printable;
    for (size_t at = 0; at < text.size();) {
        const size_t length = sequenceLength(text, at);
        const std::string sequence = text.substr(at, std::max<size_t>(length, 1));
        printable +=
            length == 0 || steersTerminal(text, at, length) ? hexEscape(sequence) : sequence;
        at += sequence.size();
    }
    return printable;
}

size_t textWidth(const std::string& text) {
    return static_cast<size_t>(std::count_if(text.begin(), text.end(), [](char byte) {
        return (static_cast<uint8_t>(byte) & 0xC0) != 0x80;
    }));
}

static std::string painted(const std::string& text, Colour colour, bool on) {
    if (!on || colour == Colour::None) {
        return text;
    }
    const char* const code = colour == Colour::Good      ? "32"
                             : colour == Colour::Waiting ? "33"
                                                         : "31";
    return "\x1b[" + std::string(code) + "m" + text + "\x1b[0m";
}

static std::string bold(const std::string& text, bool on) {
    return on ? "\x1b[1m" + text + "\x1b[0m" : text;
}

// "10-19,30" into pieces of no more than @p width, each but the last with its comma.
static std::vector<std::string> partAtCommas(const std::string& text, size_t width) {
    std::vector<std::string> parts = {""};
    for (size_t at = 0; at < text.size();) {
        const size_t comma = text.find(',', at);
        const size_t end = comma == std::string::npos ? text.size() : comma + 1;
        const std::string word = text.substr(at, end - at);
        if (!parts.back().empty() && textWidth(parts.back()) + textWidth(word) > width) {
            parts.emplace_back();
        }
        parts.back() += word;
        at = end;
    }
    return parts;
}

// ---- tables

void TextTable::cell(std::vector<Cell>& row, const std::string& label, Cell cell) {
    const auto head = std::find_if(m_heads.begin(), m_heads.end(),
                                   [&](const Cell& each) { return each.text == label; });
    const auto column = static_cast<size_t>(head - m_heads.begin());
    if (head == m_heads.end()) {
        m_heads.push_back({label});
    }
    m_heads[column].number = m_heads[column].number || cell.number;
    row.resize(std::max(row.size(), column + 1));
    row[column] = std::move(cell);
}

std::vector<size_t> TextTable::widths() const {
    std::vector<size_t> widths;
    for (const Cell& head : m_heads) {
        widths.push_back(textWidth(head.text));
    }
    for (const auto& row : m_rows) {
        for (size_t i = 0; i < row.size(); i++) {
            widths[i] = std::max(widths[i], textWidth(row[i].text));
        }
    }
    return widths;
}

void TextTable::printRow(std::ostream& out, const std::vector<Cell>& row,
                         const std::vector<size_t>& widths, bool colour,
                         const std::string& indent) const {
    std::string line = indent;
    size_t width = indent.size();
    for (size_t i = 0; i + 1 < m_heads.size(); i++) {
        const Cell cell = i < row.size() ? row[i] : Cell();
        const std::string room(widths[i] - textWidth(cell.text), ' ');
        const std::string text = painted(cell.text, cell.colour, colour);
        line += m_heads[i].number ? room + text : text + room;
        line += std::string(COLUMN_GAP, ' ');
        width += widths[i] + COLUMN_GAP;
    }
    const Cell last = row.size() == m_heads.size() ? row.back() : Cell();
    const size_t left = std::max<size_t>(TEXT_WIDTH - std::min(width, TEXT_WIDTH), 20);
    const auto parts = partAtCommas(last.text, left);
    const bool right = m_heads.back().number;
    line += right ? std::string(widths.back() - textWidth(last.text), ' ') : "";
    line += painted(parts[0], last.colour, colour);
    out << line.substr(0, line.find_last_not_of(' ') + 1) << "\n";
    for (size_t i = 1; i < parts.size(); i++) {
        out << std::string(width, ' ') << painted(parts[i], last.colour, colour) << "\n";
    }
}

void TextTable::print(std::ostream& out, bool colour, const std::string& indent) const {
    const std::vector<size_t> columns = widths();
    printRow(out, m_heads, columns, false, indent);
    for (const auto& row : m_rows) {
        printRow(out, row, columns, colour, indent);
    }
}

// ---- objects

bool TextWriter::wanted(Detail detail) const {
    return detail == Detail::Glance || (detail == Detail::Full && m_full);
}

void TextWriter::heading(const std::string& text) {
    m_out << (m_started ? "\n" : "") << bold(text, m_colour);
    m_started = true;
}

void TextWriter::line(const std::string& label) {
    m_lines.push_back({label, {}});
}

void TextWriter::piece(Cell cell) {
    if (cell.text.empty()) {
        return;
    }
    if (m_lines.empty()) {
        m_lines.emplace_back();
    }
    m_lines.back().pieces.push_back(std::move(cell));
}

static std::string joined(const std::string& label, const std::string& text) {
    return label + (label.empty() || text.empty() ? "" : " ") + text;
}

void TextWriter::field(const std::string& /*key*/, const std::string& label, const Shown& value,
                       Detail detail) {
    if (!wanted(detail)) {
        return;
    }
    const std::string text = printableText(value.text);
    if (m_rows.empty()) {
        piece({joined(label, text), value.colour});
        return;
    }
    const bool number = std::holds_alternative<uint32_t>(value.data);
    m_table->cell(m_rows.back().cells, label, {text, value.colour, number});
}

void TextWriter::flag(const std::string& key, const std::string& label, bool value, Detail detail) {
    if (!m_rows.empty()) {
        field(key, label, {value, value ? "yes" : "no"}, detail);
    } else if (m_full) {
        field(key, label, {value, value ? "on" : "off"}, detail);
    } else if (value) {
        field(key, "", {value, label}, detail);
    }
}

// @param taken  columns of this line that are written already
void TextWriter::printLine(const Line& line, size_t indent, size_t taken) {
    size_t width = taken;
    bool begun = false;
    for (const Cell& piece : line.pieces) {
        const size_t needed = textWidth(piece.text) + 1; // and a comma
        if (begun && width + 1 + needed > TEXT_WIDTH) {
            m_out << ",\n" << std::string(indent, ' ');
            width = indent;
        } else if (begun) {
            m_out << ", ";
            width++;
        }
        m_out << painted(piece.text, piece.colour, m_colour);
        width += needed;
        begun = true;
    }
    m_out << "\n";
}

// Prints the innermost object as far as it was told; its heading is printed once.
void TextWriter::flushLines() {
    std::vector<Line> lines;
    std::swap(lines, m_lines);
    if (m_headings.empty() || m_headings.back().empty()) {
        return;
    }
    size_t labelWidth = 0;
    for (const Line& line : lines) {
        if (!line.label.empty() && !line.pieces.empty()) {
            labelWidth = std::max(labelWidth, textWidth(line.label) + COLUMN_GAP);
        }
    }
    heading(m_headings.back());
    const size_t headingWidth = textWidth(m_headings.back());
    m_headings.back().clear();
    const bool withHeading = !lines.empty() && lines[0].label.empty() && !lines[0].pieces.empty();
    m_out << (withHeading ? " " : "\n");
    for (size_t i = 0; i < lines.size(); i++) {
        if (lines[i].pieces.empty()) {
            continue;
        }
        if (i == 0 && withHeading) {
            printLine(lines[i], INDENT.size(), headingWidth + 1);
            continue;
        }
        const size_t indent = INDENT.size() + (lines[i].label.empty() ? 0 : labelWidth);
        std::string label = INDENT + lines[i].label;
        label.resize(indent, ' ');
        m_out << label;
        printLine(lines[i], indent, indent);
    }
}

void TextWriter::beginObject(const std::string& /*key*/, const std::string& heading) {
    m_headings.push_back(heading);
}

void TextWriter::endObject() {
    if (m_rows.empty() && !m_headings.back().empty()) {
        flushLines();
    }
    m_headings.pop_back();
}

void TextWriter::beginList(const std::string& /*key*/) {}

void TextWriter::endList() {}

void TextWriter::beginItem(const std::string& heading) {
    beginObject("", heading);
}

void TextWriter::endItem() {
    endObject();
}

// ---- rows

void TextWriter::beginTable(const std::string& /*key*/, const std::string& heading,
                            const std::string& ifEmpty, Detail detail) {
    if (m_tables++ > 0) {
        return;
    }
    flushLines();
    m_table.emplace();
    m_ifEmpty = ifEmpty;
    m_tableHeading = heading;
    m_silent = !wanted(detail);
}

void TextWriter::endTable() {
    if (--m_tables > 0) {
        return;
    }
    const bool nothingToSay = m_table->empty() && m_ifEmpty.empty();
    if (!m_silent && !nothingToSay) {
        heading(m_tableHeading);
        m_out << "\n";
        if (m_table->empty()) {
            m_out << INDENT << m_ifEmpty << "\n";
        } else {
            m_table->print(m_out, m_colour);
        }
    }
    m_table.reset();
}

void TextWriter::beginRow() {
    Row row;
    if (!m_rows.empty()) {
        row.cells = m_rows.back().cells;
    }
    m_rows.push_back(row);
}

void TextWriter::endRow() {
    if (!m_rows.back().unfolded) {
        m_table->add(m_rows.back().cells);
    }
    m_rows.pop_back();
    if (!m_rows.empty()) {
        m_rows.back().unfolded = true;
    }
}
