#include "common/Table.h"

#include <cstdarg>
#include <cstdio>
#include <libsmartcols.h>

namespace Bench {

std::string format(char const* text, ...)
{
    char buffer[128];
    va_list arguments;
    va_start(arguments, text);
    std::vsnprintf(buffer, sizeof buffer, text, arguments);
    va_end(arguments);
    return buffer;
}

std::string payloadName(unsigned bytes)
{
    return bytes >= 1024 && bytes % 1024 == 0 ? format("%u KiB", bytes / 1024) : format("%u B", bytes);
}

Table::Table(std::string const& title, std::vector<std::string> const& columns) : _table(scols_new_table())
{
    std::printf("\n%s\n\n", title.c_str());
    for (std::string const& column : columns)
        scols_table_new_column(_table, column.c_str(), 0, SCOLS_FL_RIGHT);
}

Table::~Table()
{
    scols_print_table(_table);
    scols_unref_table(_table);
}

void Table::add(std::vector<std::string> const& cells)
{
    libscols_line* line = scols_table_new_line(_table, nullptr);
    for (std::size_t i = 0; i < cells.size(); ++i)
        scols_line_set_data(line, i, cells[i].c_str());
}

} // namespace Bench
