#define EIGEN_DONT_PARALLELIZE
#include <Eigen/Core>
#include <algorithm>

#include "kernels/operators.h"

namespace OrmoHost {
namespace {

// `rows` x `depth` times `depth` x `columns`. A transposed matrix is stored by columns.
struct Product {
  size_t rows;
  size_t depth;
  size_t columns;
  bool isLeftTransposed;
  bool isRightTransposed;
};

using Matrix = Eigen::Matrix<float, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;
using Stored = Eigen::Map<const Matrix>;

Stored MapStored(const float* data, size_t rows, size_t columns, bool isTransposed) {
  auto height = static_cast<Eigen::Index>(isTransposed ? columns : rows);
  auto width = static_cast<Eigen::Index>(isTransposed ? rows : columns);
  return {data, height, width};
}

void MultiplyWithEigen(const Product& p, const Operands& operands) {
  Stored left = MapStored(operands.Input(0), p.rows, p.depth, p.isLeftTransposed);
  Stored right = MapStored(operands.Input(1), p.depth, p.columns, p.isRightTransposed);
  Eigen::Map<Matrix> output(operands.Output(), static_cast<Eigen::Index>(p.rows),
                            static_cast<Eigen::Index>(p.columns));
  if (p.isLeftTransposed && p.isRightTransposed) {
    output.noalias() = left.transpose() * right.transpose();
  } else if (p.isLeftTransposed) {
    output.noalias() = left.transpose() * right;
  } else if (p.isRightTransposed) {
    output.noalias() = left * right.transpose();
  } else {
    output.noalias() = left * right;
  }
}

// The part of a product that falls into one tile of each matrix.
struct Tile {
  size_t row, rowEnd;
  size_t depth, depthEnd;
  size_t column, columnEnd;
};

// Adds `factor` times a row of the right matrix to a row of the output.
void AddScaledRow(float factor, const float* right, size_t step, size_t count, float* output) {
  if (step == 1) {  // stored by rows: the compiler can use its vector instructions
    for (size_t j = 0; j < count; ++j) {
      output[j] += factor * right[j];
    }
    return;
  }
  for (size_t j = 0; j < count; ++j) {
    output[j] += factor * right[j * step];
  }
}

void MultiplyTile(const Product& p, const Tile& tile, const Operands& operands) {
  size_t leftRowStep = p.isLeftTransposed ? 1 : p.depth;
  size_t leftDepthStep = p.isLeftTransposed ? p.rows : 1;
  size_t rightDepthStep = p.isRightTransposed ? 1 : p.columns;
  size_t rightColumnStep = p.isRightTransposed ? p.depth : 1;
  for (size_t i = tile.row; i < tile.rowEnd; ++i) {
    float* output = operands.Output() + i * p.columns + tile.column;
    for (size_t k = tile.depth; k < tile.depthEnd; ++k) {
      float factor = operands.Input(0)[i * leftRowStep + k * leftDepthStep];
      const float* right = operands.Input(1) + k * rightDepthStep + tile.column * rightColumnStep;
      AddScaledRow(factor, right, rightColumnStep, tile.columnEnd - tile.column, output);
    }
  }
}

void MultiplyByTiles(const Product& p, size_t size, const Operands& operands) {
  std::fill_n(operands.Output(), p.rows * p.columns, 0.0F);
  for (size_t i = 0; i < p.rows; i += size) {
    for (size_t k = 0; k < p.depth; k += size) {
      for (size_t j = 0; j < p.columns; j += size) {
        MultiplyTile(p,
                     {i, std::min(i + size, p.rows), k, std::min(k + size, p.depth), j,
                      std::min(j + size, p.columns)},
                     operands);
      }
    }
  }
}

}  // namespace

Kernel MakeMatMul(const NodeShapes& shapes) {
  Product p{};
  p.isLeftTransposed = GetFlag(shapes.node, "transpose_a");
  p.isRightTransposed = GetFlag(shapes.node, "transpose_b");
  p.rows = static_cast<size_t>(shapes.output[0]);
  p.columns = static_cast<size_t>(shapes.output[1]);
  p.depth = static_cast<size_t>(shapes.inputs[0][p.isLeftTransposed ? 0 : 1]);
  auto tile = static_cast<size_t>(GetInt(shapes.node, "tile", 0));
  if (tile == 0) {
    return [=](const Operands& operands) { MultiplyWithEigen(p, operands); };
  }
  return [=](const Operands& operands) { MultiplyByTiles(p, tile, operands); };
}

}  // namespace OrmoHost
