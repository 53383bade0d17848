#ifndef TAVIX_BENCH_COMMON_TABLE_H
#define TAVIX_BENCH_COMMON_TABLE_H

#include <string>
#include <vector>

struct libscols_table;

namespace Bench {

// As printf, for up to 127 characters.
[[gnu::format(printf, 1, 2)]] std::string format(char const* text, ...);

// "64 KiB", "16 B".
std::string payloadName(unsigned bytes);

// A table that is printed when it goes, below its title.
class Table {
public:
    Table(std::string const& title, std::vector<std::string> const& columns);
    Table(Table const&) = delete;
    Table& operator=(Table const&) = delete;
    ~Table();

    void add(std::vector<std::string> const& cells);

private:
    libscols_table* _table;
};

} // namespace Bench

#endif
