#include "svg_plot.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string>

#include "axis_ticks.h"

namespace olhs_cli {

namespace {

struct Layout {
    double cell;   ///< side of one cell of the matrix
    double left;   ///< space left of the matrix, for the ticks of rows 0, 2, 4...
    double right;  ///< and right of it, for rows 1, 3, 5...
    double top;    ///< space above the matrix, for the ticks of columns 1, 3, 5...
    double below;  ///< and under it, for columns 0, 2, 4...
    double inset;  ///< gap between a cell's edge and its frame
    double pad;    ///< gap between the frame and the outermost levels
    double area;   ///< side of the square the levels span
    double radius; ///< of a point
    double step;   ///< distance between two neighbouring levels
};

constexpr double margin = 16.0;
constexpr double tickLength = 4.0;
constexpr double tickFont = 10.0;
// A generous width of a digit in the tick labels' sans-serif font, as a share of its size.
constexpr double digitWidth = 0.6;

Layout layoutFor(int n, int m) {
    Layout l{};
    // About a thousand pixels across, but never cramped nor oversized.
    l.cell = std::clamp(960.0 / m, 90.0, 220.0);
    l.left = l.right = l.top = l.below = margin;
    l.inset = 6.0;
    l.pad = 6.0;
    l.area = l.cell - 2.0 * (l.inset + l.pad);
    l.step = l.area / (n - 1);
    l.radius = std::clamp(l.step / 3.0, 1.0, 4.0);
    return l;
}

// Level 1 at the left (bottom) of the area, level n at the right (top).
double low(const Layout& l) { return l.inset + l.pad; }
double high(const Layout& l) { return l.inset + l.pad + l.area; }
double across(const Layout& l, int level) { return low(l) + (level - 1) * l.step; }
double up(const Layout& l, int level) { return high(l) - (level - 1) * l.step; }

void writeGrid(std::FILE* out, const Layout& l, int n) {
    // Beyond this the lines would merge into a grey square and only bloat the file.
    if (n > 60) {
        return;
    }
    std::fprintf(out, "    <path class=\"grid\" stroke=\"#e4e4e4\" stroke-width=\"0.5\" fill=\"none\" d=\"");
    for (int k = 1; k <= n; ++k) {
        std::fprintf(out, "M%.3f %.3fV%.3fM%.3f %.3fH%.3f", across(l, k), low(l), high(l), low(l), up(l, k),
                     high(l));
    }
    std::fprintf(out, "\"/>\n");
}

// The panel in the given row and column of the matrix plots variable x against variable y.
void writePanel(std::FILE* out, const Design& design, const Layout& l, int row, int column, int x, int y) {
    const std::size_t m = static_cast<std::size_t>(design.m);
    std::fprintf(out, "  <g class=\"panel\" transform=\"translate(%.3f %.3f)\">\n", l.left + column * l.cell,
                 l.top + row * l.cell);
    std::fprintf(out, "    <title>x%d across, x%d up</title>\n", x + 1, y + 1);
    writeGrid(out, l, design.n);
    std::fprintf(out,
                 "    <rect class=\"frame\" x=\"%.3f\" y=\"%.3f\" width=\"%.3f\" height=\"%.3f\" fill=\"none\" "
                 "stroke=\"#888888\"/>\n",
                 l.inset, l.inset, l.cell - 2.0 * l.inset, l.cell - 2.0 * l.inset);
    for (int i = 0; i < design.n; ++i) {
        const std::size_t base = static_cast<std::size_t>(i) * m;
        std::fprintf(out, "    <circle cx=\"%.3f\" cy=\"%.3f\" r=\"%.2f\"/>\n",
                     across(l, design.levels[base + static_cast<std::size_t>(x)]),
                     up(l, design.levels[base + static_cast<std::size_t>(y)]), l.radius);
    }
    std::fprintf(out, "  </g>\n");
}

void writeLabel(std::FILE* out, const Layout& l, int position, int variable) {
    const double centre = l.cell / 2.0;
    std::fprintf(out, "  <g class=\"label\" transform=\"translate(%.3f %.3f)\">\n", l.left + position * l.cell,
                 l.top + position * l.cell);
    std::fprintf(out,
                 "    <text fill=\"black\" x=\"%.3f\" y=\"%.3f\" text-anchor=\"middle\" dominant-baseline=\"middle\" "
                 "font-size=\"%.1f\">x%d</text>\n",
                 centre, centre, std::min(24.0, l.cell / 4.0), variable + 1);
    std::fprintf(out, "  </g>\n");
}

// The values the user sees along variable j's axis: the printed scale's, from level 1 to level n.
std::vector<Tick> ticksOf(const Options& options, const Design& design, int j, const Layout& l) {
    const double length = l.area / (digitWidth * tickFont);
    switch (options.scale) {
    case Scale::Levels:
        return axisTicks(1.0, design.n, true, length);
    case Scale::Bounds: {
        const Interval& bounds = options.bounds[static_cast<std::size_t>(j)];
        // As the values are scaled; bounds too close to tell the two places apart keep their ends.
        const double first = (1.0 - design.firstPlace) * bounds.low + design.firstPlace * bounds.high;
        const double last = (1.0 - design.lastPlace) * bounds.low + design.lastPlace * bounds.high;
        return first < last ? axisTicks(first, last, false, length)
                            : axisTicks(bounds.low, bounds.high, false, length);
    }
    case Scale::Unit:
    case Scale::Given: // the subcommands draw no plot
        break;
    }
    return axisTicks(design.firstPlace, design.lastPlace, false, length);
}

double labelWidth(const std::vector<Tick>& ticks) {
    std::size_t widest = 0;
    for (const Tick& tick : ticks) {
        widest = std::max(widest, tick.label.size());
    }
    return static_cast<double>(widest) * digitWidth * tickFont;
}

// Space beside the frames for ticks and their labels `extent` deep.
double tickRoom(const Layout& l, double extent) { return margin + tickLength + 2.0 + extent - l.inset; }

// Column `position` of the matrix: every panel in it shares the variable across, so one
// scale serves them all. The columns take turns below and above the matrix, so that the
// labels at the ends of neighbouring axes never meet.
void writeColumnTicks(std::FILE* out, const Layout& l, int position, int variable, const std::vector<Tick>& ticks,
                      int shown) {
    const bool below = position % 2 == 0;
    const double edge = below ? l.top + shown * l.cell - l.inset : l.top + l.inset;
    const double outward = below ? 1.0 : -1.0;
    const double x0 = l.left + position * l.cell + low(l);
    std::fprintf(out, "  <g class=\"x-axis\">\n    <title>x%d</title>\n", variable + 1);
    std::string marks;
    for (const Tick& tick : ticks) {
        const double x = x0 + tick.along * l.area;
        std::fprintf(out, "    <text x=\"%.3f\" y=\"%.3f\" text-anchor=\"middle\" dominant-baseline=\"%s\">%s</text>\n",
                     x, edge + outward * (tickLength + 2.0), below ? "hanging" : "alphabetic", tick.label.c_str());
        char mark[64];
        std::snprintf(mark, sizeof mark, "M%.3f %.3fv%.1f", x, edge, outward * tickLength);
        marks += mark;
    }
    std::fprintf(out, "    <path stroke=\"#888888\" d=\"%s\"/>\n  </g>\n", marks.c_str());
}

// Row `position`: the variable up in all its panels. Rows take turns left and right.
void writeRowTicks(std::FILE* out, const Layout& l, int position, int variable, const std::vector<Tick>& ticks,
                   int shown) {
    const bool left = position % 2 == 0;
    const double edge = left ? l.left + l.inset : l.left + shown * l.cell - l.inset;
    const double outward = left ? -1.0 : 1.0;
    const double y0 = l.top + position * l.cell + high(l);
    std::fprintf(out, "  <g class=\"y-axis\">\n    <title>x%d</title>\n", variable + 1);
    std::string marks;
    for (const Tick& tick : ticks) {
        const double y = y0 - tick.along * l.area;
        std::fprintf(out, "    <text x=\"%.3f\" y=\"%.3f\" text-anchor=\"%s\" dominant-baseline=\"middle\">%s</text>\n",
                     edge + outward * (tickLength + 2.0), y, left ? "end" : "start", tick.label.c_str());
        char mark[64];
        std::snprintf(mark, sizeof mark, "M%.3f %.3fh%.1f", edge, y, outward * tickLength);
        marks += mark;
    }
    std::fprintf(out, "    <path stroke=\"#888888\" d=\"%s\"/>\n  </g>\n", marks.c_str());
}

} // namespace

void writeScatterMatrix(std::FILE* out, const Design& design, const Options& options) {
    const std::vector<int>& variables = options.plotVariables;
    const int shown = static_cast<int>(variables.size());
    Layout l = layoutFor(design.n, shown);
    std::vector<std::vector<Tick>> ticks;
    double widest[2] = {0.0, 0.0}; // of the labels left and right of the matrix
    for (const int j : variables) {
        ticks.push_back(ticksOf(options, design, j, l));
        double& side = widest[(ticks.size() - 1) % 2];
        side = std::max(side, labelWidth(ticks.back()));
    }
    l.left = tickRoom(l, widest[0]);
    l.right = tickRoom(l, widest[1]);
    l.top = l.below = tickRoom(l, tickFont);
    const double width = l.left + shown * l.cell + l.right;
    const double height = l.top + shown * l.cell + l.below;
    std::fprintf(out, "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n");
    std::fprintf(out,
                 "<svg xmlns=\"http://www.w3.org/2000/svg\" version=\"1.1\" width=\"%.0f\" height=\"%.0f\" "
                 "viewBox=\"0 0 %.0f %.0f\" font-family=\"sans-serif\">\n",
                 std::ceil(width), std::ceil(height), std::ceil(width), std::ceil(height));
    std::fprintf(out, "  <title>Latin hypercube design: %d points in %d variables</title>\n", design.n, design.m);
    std::fprintf(out, "  <rect width=\"100%%\" height=\"100%%\" fill=\"white\"/>\n");
    std::fprintf(out, "  <g fill=\"#1f5fa8\">\n");
    for (int row = 0; row < shown; ++row) {
        for (int column = 0; column < shown; ++column) {
            const int y = variables[static_cast<std::size_t>(row)];
            if (row == column) {
                writeLabel(out, l, row, y);
            } else {
                writePanel(out, design, l, row, column, variables[static_cast<std::size_t>(column)], y);
            }
        }
    }
    std::fprintf(out, "  </g>\n  <g fill=\"black\" font-size=\"%.0f\">\n", tickFont);
    for (int k = 0; k < shown; ++k) {
        const std::size_t position = static_cast<std::size_t>(k);
        writeColumnTicks(out, l, k, variables[position], ticks[position], shown);
        writeRowTicks(out, l, k, variables[position], ticks[position], shown);
    }
    std::fprintf(out, "  </g>\n</svg>\n");
}

} // namespace olhs_cli
