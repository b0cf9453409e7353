#pragma once
// What a person would see: a terminal, as far as the engine uses it.

#include <algorithm>
#include <string>
#include <vector>

namespace engine::test {

/// Lines that are longer than the terminal is wide go on in the next row; when it becomes narrower, rows that are too long
/// do, as many terminals make it.
class Screen
{
public:
    explicit Screen(std::size_t columns) : m_columns(columns) {}

    void put(std::string const& bytes)
    {
        for (char const c : bytes)
            put(c);
    }

    void resize(std::size_t columns)
    {
        m_columns = columns;
        std::vector<std::string> rows;
        std::size_t row = 0;
        for (std::size_t i = 0; i < m_rows.size(); ++i) {
            if (i == m_row)
                row = rows.size() + m_column / columns;
            std::string rest = m_rows[i];
            for (; rest.size() > columns; rest = rest.substr(columns))
                rows.push_back(rest.substr(0, columns));
            rows.push_back(rest);
        }
        m_rows = rows;
        m_row = row;
        m_column %= columns;
    }

    /// Without blanks at the ends of rows and empty rows at the end.
    std::string text() const
    {
        std::string out;
        for (std::string const& row : m_rows)
            out += row.substr(0, row.find_last_not_of(' ') + 1) + "\n";
        return out.substr(0, out.find_last_not_of('\n') + 1) + "\n";
    }
    bool hasUnknown() const { return m_hasUnknown; } ///< a sequence that no terminal of this kind knows
    std::size_t column() const { return m_column; }

private:
    void put(char c)
    {
        if (!m_sequence.empty())
            return addToSequence(c);
        if (c == '\x1b')
            m_sequence = c;
        else if (c == '\r')
            m_column = 0;
        else if (c == '\n')
            moveTo(m_row + 1, 0); // as terminals are set up
        else if (static_cast<unsigned char>(c) < ' ')
            m_hasUnknown = true;
        else
            print(c);
    }
    void print(char c)
    {
        if (m_column == m_columns)
            moveTo(m_row + 1, 0);
        moveTo(m_row, m_column);
        std::string& row = m_rows[m_row];
        row.resize(std::max(row.size(), m_column + 1), ' ');
        row[m_column++] = c;
    }
    void addToSequence(char c)
    {
        m_sequence += c;
        if (m_sequence.size() == 2 ? c == '[' : c >= '0' && c <= '9')
            return;
        std::size_t const number = m_sequence.size() > 3 ? std::stoul(m_sequence.substr(2)) : 1;
        if (m_sequence == "\x1b[J") {
            m_rows.resize(m_row + 1);
            m_rows[m_row].resize(std::min(m_rows[m_row].size(), m_column));
        } else if (c == 'A') {
            m_row -= std::min(m_row, number);
        } else {
            m_hasUnknown = true;
        }
        m_sequence.clear();
    }
    void moveTo(std::size_t row, std::size_t column)
    {
        m_row = row;
        m_column = column;
        if (m_rows.size() <= row)
            m_rows.resize(row + 1);
    }

    std::size_t m_columns;
    std::vector<std::string> m_rows = {""};
    std::size_t m_row = 0, m_column = 0;
    std::string m_sequence;
    bool m_hasUnknown = false;
};

} // namespace engine::test
