// Packed panels, and products of tiles that stand in them.
#include "linalg/panels.h"

#include <algorithm>

#include "core/simd.h"

namespace tessel {

namespace {

inline void AddFew(const double *from, int n, double *to) {
  for (int j = 0; j < n; ++j) to[j] += from[j];
}

}  // namespace

void PackColumns(const ConstMatrix &tile, int width, PackFunction pack, double *panels) {
  constexpr int strip = 16;  // rows at a time, so that few pages are in use at once
  for (int k = 0; k < tile.rows; k += strip) {
    const int depth = std::min(strip, tile.rows - k);
    for (int first = 0; first < tile.columns; first += width) {
      const int lines = std::min(width, tile.columns - first);
      const double *cells = tile[k] + first;
      double *panel = panels + PanelCells(first, 1, tile.rows) + PanelCells(k, 1, width);
      if (lines == width) {
        pack(cells, tile.stride, depth, panel);
        continue;
      }
      std::fill_n(panel, PanelCells(width, 1, depth), 0.0);
      for (int r = 0; r < depth; ++r, panel += width) CopyFew(cells + r * tile.stride, lines, panel);
    }
  }
}

void PackRows(const ConstMatrix &tile, int width, double *panels) {
  for (int first = 0; first < tile.rows; first += width, panels += PanelCells(width, width, tile.columns)) {
    const int lines = std::min(width, tile.rows - first);
    if (lines < width) std::fill_n(panels, PanelCells(width, width, tile.columns), 0.0);
    for (int line = 0; line < lines; line += 2) {
      const bool pair = line + 1 < lines;
      const double *even = tile[first + line];
      const double *odd = pair ? tile[first + line + 1] : even;
      double *cell = panels + line;
      for (int k = 0; k < tile.columns; ++k, cell += width) {
        cell[0] = even[k];
        if (pair) cell[1] = odd[k];
      }
    }
  }
}

void MultiplyPanels(const PanelProduct &p, const MicroKernel &kernel, const Blocks &blocks) {
  const int blockRows = kernel.blockRows, blockColumns = kernel.blockColumns;
  // For the cells over an edge. Those of rows past the end may be added to, and are never read again.
  alignas(64) double aside[kMaxBlockRows][kMaxBlockColumns];
  if (p.add) std::fill_n(aside[0], kMaxBlockRows * kMaxBlockColumns, 0.0);
  double *asideRows[kMaxBlockRows];
  for (int r = 0; r < blockRows; ++r) asideRows[r] = aside[r];
  for (int i = 0; i < p.c.rows; i += blockRows) {
    const int rows = std::min(blockRows, p.c.rows - i);
    const double *a[kMaxBlockRows];
    for (int r = 0; r < blockRows; ++r)  // rows over the edge repeat the last one
      a[r] = p.aPanels != nullptr ? p.aPanels + PanelCells(i, 1, p.depth) + r : p.a[i + std::min(r, rows - 1)];
    if (p.aPanels == nullptr && p.depth >= 64)
      for (int r = i + blockRows; r < std::min(p.c.rows, i + 2 * blockRows); ++r)
        for (int k = 0; k < p.depth; k += 8) __builtin_prefetch(p.a[r] + k, 0, 2);
    const int aStep = p.aPanels != nullptr ? blockRows : 1;
    const int end = p.diagonal == kNoDiagonal ? p.c.columns : std::min(p.c.columns, i + rows + p.diagonal);
    for (int j = 0; j < end; j += blockColumns) {
      const int columns = std::min(blockColumns, p.c.columns - j);
      const bool half = 2 * columns <= blockColumns;
      const BlockFunction block = half ? blocks.half : blocks.full;
      const double *b = p.bPanels + PanelCells(j, 1, p.depth);
      if (columns == (half ? blockColumns / 2 : blockColumns)) {
        double *c[kMaxBlockRows];
        for (int r = 0; r < blockRows; ++r) c[r] = r < rows ? p.c[i + r] + j : aside[r];
        block(a, aStep, b, p.depth, c, p.add);
        continue;
      }
      block(a, aStep, b, p.depth, asideRows, false);
      for (int r = 0; r < rows; ++r) {
        if (p.add) {
          AddFew(aside[r], columns, p.c[i + r] + j);
        } else {
          CopyFew(aside[r], columns, p.c[i + r] + j);
        }
      }
    }
  }
}

}  // namespace tessel
