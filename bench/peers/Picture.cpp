#include "Picture.h"

#include "common/Fail.h"
#include "common/Table.h"

#include <algorithm>
#include <cmath>
#include <fstream>

namespace Bench {

namespace {

// In pixels of the picture at its own size.
const int kWidth = 800;
const int kLeft = 190;  // where the scale begins, right of the rows' names
const int kRight = 740; // where it ends, and the figures of the longest bars stand
const int kTop = 64;
const int kBar = 11;
const int kGap = 9; // between rows

// Readable on white and on black, and apart for those who see red and green alike.
const char* const kColours[] = {"#2f81f7", "#d29922", "#8b949e", "#bc6bd9"};

char const* colour(std::size_t system)
{
    return kColours[(system - 1) % (sizeof kColours / sizeof *kColours)];
}

// From speeds to places: each step of the scale is twice the one before, and ends stand on whole steps.
class Scale {
public:
    explicit Scale(std::vector<Row> const& rows)
    {
        for (Row const& row : rows) {
            for (std::size_t system = 1; system < row.samples.size(); ++system) {
                const double step = std::log2(row.speed(system));
                _first = std::min(_first, static_cast<int>(std::floor(step)));
                _last = std::max(_last, static_cast<int>(std::ceil(step)));
            }
        }
    }

    int first() const { return _first; }
    int last() const { return _last; }
    double place(double speed) const
    {
        return kLeft + (std::log2(speed) - _first) / (_last - _first) * (kRight - kLeft);
    }

private:
    int _first = -1;
    int _last = 1;
};

std::string text(double x, int y, char const* anchor, std::string const& content)
{
    return format("<text x='%.1f' y='%d' text-anchor='%s'>", x, y, anchor) + content + "</text>\n";
}

std::string rectangle(double x, int y, double width, char const* fill)
{
    return format("<rect x='%.1f' y='%d' width='%.1f' height='%d' fill='%s'/>\n", x, y, width, kBar - 1,
                  fill);
}

std::string rowName(Row const& row)
{
    if (row.kind == Row::kEvents)
        return format("event to %u, ", row.load) + payloadName(row.payload);
    return (row.load == 1 ? "call, " : format("%u calls in flight, ", row.load)) + payloadName(row.payload);
}

std::string legend(std::vector<Peer> const& peers)
{
    std::string drawn = text(8, 20, "start", "Speed in times the floor's; longer to the right is faster");
    for (std::size_t system = 1; system < peers.size(); ++system) {
        const double x = kLeft + static_cast<double>(system - 1) * 110;
        drawn += rectangle(x, 31, kBar, colour(system)) + text(x + 16, 40, "start", peers[system].name);
    }
    return drawn;
}

std::string grid(Scale const& scale, int bottom)
{
    std::string drawn;
    for (int step = scale.first(); step <= scale.last(); ++step) {
        const double x = scale.place(std::exp2(step));
        const std::string speed = step < 0 ? format("1/%d", 1 << -step) : format("%d", 1 << step);
        drawn += format("<line class='%s' x1='%.1f' x2='%.1f' y1='%d' y2='%d'/>\n",
                        step == 0 ? "floor" : "step", x, x, kTop, bottom);
        drawn += text(x, kTop - 6, "middle", speed);
    }
    return drawn;
}

std::string bar(Scale const& scale, double speed, int y, char const* fill)
{
    const double floor = scale.place(1);
    const double end = scale.place(speed);
    return rectangle(std::min(floor, end), y, std::max(std::abs(end - floor), 1.0), fill) +
           text(std::max(floor, end) + 4, y + kBar - 2, "start", format("%.2f", speed));
}

// No background: the page's shows, and the style follows the reader's choice of light or dark.
std::string head(int height)
{
    return format("<svg xmlns='http://www.w3.org/2000/svg' width='%d' height='%d' viewBox='0 0 %d %d'>\n",
                  kWidth, height, kWidth, height) +
           "<style>\n"
           "text { font: 11px sans-serif; fill: #1f2328 }\n"
           "line { stroke: #8b949e; stroke-width: 0.5; stroke-dasharray: 2 3 }\n"
           "line.floor { stroke-width: 1.5; stroke-dasharray: none }\n"
           "@media (prefers-color-scheme: dark) { text { fill: #e6edf3 } }\n"
           "</style>\n";
}

} // namespace

void writePicture(std::string const& file, std::vector<Peer> const& peers, std::vector<Row> const& rows)
{
    const Scale scale(rows);
    const int rowHeight = static_cast<int>(peers.size() - 1) * kBar + kGap;
    const int bottom = kTop + static_cast<int>(rows.size()) * rowHeight;
    std::ofstream out(file);
    out << head(bottom + 10) << legend(peers) << grid(scale, bottom);
    int y = kTop + kGap / 2;
    for (Row const& row : rows) {
        out << text(kLeft - 8, y + (rowHeight - kGap) / 2 + 4, "end", rowName(row));
        for (std::size_t system = 1; system < peers.size(); ++system)
            out << bar(scale, row.speed(system), y + static_cast<int>(system - 1) * kBar, colour(system));
        y += rowHeight;
    }
    out << "</svg>\n";
    if (!out.flush())
        fail("the picture cannot be written");
}

} // namespace Bench
