#include "svg_plot.h"

#include <algorithm>
#include <cstddef>

namespace olhs_cli {

namespace {

struct Layout {
    double cell;   ///< side of one cell of the matrix
    double margin; ///< space around the matrix
    double inset;  ///< gap between a cell's edge and its frame
    double pad;    ///< gap between the frame and the outermost levels
    double area;   ///< side of the square the levels span
    double radius; ///< of a point
    double step;   ///< distance between two neighbouring levels
};

Layout layoutFor(int n, int m) {
    Layout l{};
    // About a thousand pixels across, but never cramped nor oversized.
    l.cell = std::clamp(960.0 / m, 90.0, 220.0);
    l.margin = 16.0;
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
    std::fprintf(out, "  <g class=\"panel\" transform=\"translate(%.3f %.3f)\">\n", l.margin + column * l.cell,
                 l.margin + row * l.cell);
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
    std::fprintf(out, "  <g class=\"label\" transform=\"translate(%.3f %.3f)\">\n", l.margin + position * l.cell,
                 l.margin + position * l.cell);
    std::fprintf(out,
                 "    <text fill=\"black\" x=\"%.3f\" y=\"%.3f\" text-anchor=\"middle\" dominant-baseline=\"middle\" "
                 "font-size=\"%.1f\">x%d</text>\n",
                 centre, centre, std::min(24.0, l.cell / 4.0), variable + 1);
    std::fprintf(out, "  </g>\n");
}

} // namespace

void writeScatterMatrix(std::FILE* out, const Design& design, const std::vector<int>& variables) {
    const int shown = static_cast<int>(variables.size());
    const Layout l = layoutFor(design.n, shown);
    const double side = 2.0 * l.margin + shown * l.cell;
    std::fprintf(out, "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n");
    std::fprintf(out,
                 "<svg xmlns=\"http://www.w3.org/2000/svg\" version=\"1.1\" width=\"%.0f\" height=\"%.0f\" "
                 "viewBox=\"0 0 %.0f %.0f\" font-family=\"sans-serif\">\n",
                 side, side, side, side);
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
    std::fprintf(out, "  </g>\n</svg>\n");
}

} // namespace olhs_cli
