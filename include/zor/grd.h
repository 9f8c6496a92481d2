// Regular grids laid over a map domain and their drawing through the fill
// levels: each point's value coloured as a cell (filled types) or contour
// lines between the points (line types).
#pragma once

#include <vector>

#include "zor/types.h"

// A grid of domain.nx x domain.ny values, row by row from the north-west
// point (grid index (0, 0)); -9999 marks a missing value.
struct GRD_report {
  Domain domain;
  std::vector<float> data;

  float& at(int i, int j) { return data[static_cast<std::size_t>(j) * domain.nx + i]; }
  float at(int i, int j) const { return data[static_cast<std::size_t>(j) * domain.nx + i]; }
};

// Lays the grid over `domain` with every value missing; -1 when the domain
// has no points or the memory for them cannot be had.
int GRD_init(GRD_report* grid, const Domain* domain);

// Contour types drawn as lines (the rest fill their cells).
inline constexpr int CONT_LINE_TYPE = 51;

// Draws the grid on the current map through the fill levels (CONT_*): line
// contour types (12, 13, 14, 51) draw the lines of the levels base + k x
// interval between the points, the others fill every point's cell in the
// colour of its value (16 adds the lines over the cells). The current map
// domain stays current. 0, or -1 when there is nothing to draw.
int CONT_draw_contour(const GRD_report* grid);
