#include "operators/attention.h"

#define EIGEN_DONT_PARALLELIZE
#include <Eigen/Core>
#include <algorithm>
#include <limits>
#include <optional>

namespace OrmoHost {
namespace {

using Eigen::Index;
template <typename Element>
using Matrix = Eigen::Matrix<Element, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;
// In work memory.
using Work = Eigen::Map<Matrix<float>>;
using Column = Eigen::Map<Eigen::VectorXf>;

// Queries that are worked on together: enough for good products, few enough for a cache.
constexpr size_t BLOCK_ROWS = 64;

// Some rows of one head.
struct Rows {
  size_t batch;
  size_t head;
  size_t first;
  size_t count;

  Index Count() const { return static_cast<Index>(count); }
};

// Cuts matrices off work memory, or only counts them when there is none.
class WorkMemory {
 public:
  explicit WorkMemory(float* data = nullptr) : data_(data) {}

  Work Take(size_t rows, size_t columns) {
    float* matrix = data_ == nullptr ? nullptr : data_ + used_;
    used_ += rows * columns;
    return {matrix, static_cast<Index>(rows), static_cast<Index>(columns)};
  }

  size_t Bytes() const { return used_ * sizeof(float); }

 private:
  float* data_;
  size_t used_ = 0;
};

size_t BlockRows(const Attention& a) {
  return std::min(BLOCK_ROWS, a.queries);
}

// A head's keys and values, and what some of its queries need; or the gradients of all these.
struct HeadWork {
  HeadWork(const Attention& a, WorkMemory& memory)
      : key(memory.Take(a.keys, a.depth)),
        value(memory.Take(a.keys, a.depth)),
        query(memory.Take(BlockRows(a), a.depth)),
        out(memory.Take(BlockRows(a), a.depth)),
        scores(memory.Take(BlockRows(a), a.keys)) {}

  Work key, value, query, out, scores;
};

// `sequence` is how many rows a head has in the tensor.
template <typename Element>
auto MapRows(const Attention& a, void* tensor, size_t sequence, const Rows& rows) {
  bool isByHead = a.layout == AttentionLayout::BNSD;
  size_t step = isByHead ? a.depth : a.heads * a.depth;
  size_t start = isByHead ? (rows.batch * a.heads + rows.head) * sequence * a.depth
                          : rows.batch * sequence * step + rows.head * a.depth;
  Element* first = static_cast<Element*>(tensor) + start + rows.first * step;
  return Eigen::Map<Matrix<Element>, Eigen::Unaligned, Eigen::OuterStride<>>(
      first, rows.Count(), static_cast<Index>(a.depth),
      Eigen::OuterStride<>(static_cast<Index>(step)));
}

void Load(const Attention& a, void* tensor, size_t sequence, const Rows& rows, Work& target) {
  if (a.isHalf) {
    target.topRows(rows.Count()) = MapRows<Eigen::half>(a, tensor, sequence, rows).cast<float>();
  } else {
    target.topRows(rows.Count()) = MapRows<float>(a, tensor, sequence, rows);
  }
}

void Store(const Attention& a, const Work& source, void* tensor, size_t sequence,
           const Rows& rows) {
  if (a.isHalf) {
    MapRows<Eigen::half>(a, tensor, sequence, rows) =
        source.topRows(rows.Count()).cast<Eigen::half>();
  } else {
    MapRows<float>(a, tensor, sequence, rows) = source.topRows(rows.Count());
  }
}

Column MapSoftmax(const Attention& a, float* all, const Rows& rows) {
  return {all + (rows.batch * a.heads + rows.head) * a.queries + rows.first, rows.Count()};
}

// Gives the scores of keys that are left out a value.
void SetMasked(const Attention& a, const Rows& rows, float value, Work& scores) {
  if (a.mask == nullptr) {
    return;
  }
  const uint8_t* mask =
      a.mask + rows.batch * a.maskBatchStep + rows.head * a.maskHeadStep + rows.first * a.keys;
  float* score = scores.data();
  for (size_t i = 0; i < rows.count * a.keys; ++i) {
    score[i] = mask[i] != 0 ? value : score[i];
  }
}

// 1 / sum, and 0 for a query without keys.
auto Inverse(const Column& sum) {
  return (sum.array() > 0).select(sum.array().inverse(), 0.0F);
}

void LoadQueries(const Attention& a, const Rows& rows, HeadWork& work) {
  Load(a, a.query, a.queries, rows, work.query);
  work.scores.topRows(rows.Count()).noalias() =
      a.scale * work.query.topRows(rows.Count()) * work.key.transpose();
}

void AttendRows(const Attention& a, const Rows& rows, HeadWork& work) {
  LoadQueries(a, rows, work);
  auto scores = work.scores.topRows(rows.Count());
  auto out = work.out.topRows(rows.Count());
  Column largest = MapSoftmax(a, a.softmaxMax, rows);
  Column sum = MapSoftmax(a, a.softmaxSum, rows);
  SetMasked(a, rows, std::numeric_limits<float>::lowest(), work.scores);
  largest = scores.rowwise().maxCoeff();
  scores = (scores.colwise() - largest).array().exp();
  SetMasked(a, rows, 0, work.scores);
  sum = scores.rowwise().sum();
  largest = (sum.array() > 0).select(largest, 0.0F);
  out.noalias() = scores * work.value;
  out.array().colwise() *= Inverse(sum).array();
  Store(a, work.out, a.out, a.queries, rows);
}

void DifferentiateRows(const Attention& a, const Rows& rows, HeadWork& work, HeadWork& grad) {
  LoadQueries(a, rows, work);
  Load(a, a.out, a.queries, rows, work.out);
  Load(a, a.outGrad, a.queries, rows, grad.out);
  auto probability = work.scores.topRows(rows.Count());
  auto scoreGrad = grad.scores.topRows(rows.Count());
  auto outGrad = grad.out.topRows(rows.Count());
  Column largest = MapSoftmax(a, a.softmaxMax, rows);
  Column sum = MapSoftmax(a, a.softmaxSum, rows);
  probability = (probability.colwise() - largest).array().exp();
  probability.array().colwise() *= Inverse(sum).array();
  SetMasked(a, rows, 0, work.scores);
  grad.value.noalias() += probability.transpose() * outGrad;
  // A row's probabilities sum up to 1: what is common to all its scores' gradients has no effect.
  auto common = outGrad.cwiseProduct(work.out.topRows(rows.Count())).rowwise().sum();
  scoreGrad.noalias() = outGrad * work.value.transpose();
  scoreGrad.colwise() -= common;
  scoreGrad.array() *= probability.array() * a.scale;
  grad.query.topRows(rows.Count()).noalias() = scoreGrad * work.key;
  grad.key.noalias() += scoreGrad.transpose() * work.query.topRows(rows.Count());
  Store(a, grad.query, a.queryGrad, a.queries, rows);
}

// Calls `useRows` for all queries of a head.
template <typename UseRows>
void ForEachBlock(const Attention& a, const Rows& keys, UseRows useRows) {
  for (size_t first = 0; first < a.queries; first += BLOCK_ROWS) {
    useRows(Rows{keys.batch, keys.head, first, std::min(BLOCK_ROWS, a.queries - first)});
  }
}

void DifferentiateHead(const Attention& a, const Rows& keys, HeadWork& work, HeadWork& grad) {
  grad.key.setZero();
  grad.value.setZero();
  ForEachBlock(a, keys, [&](const Rows& rows) { DifferentiateRows(a, rows, work, grad); });
  Store(a, grad.key, a.keyGrad, a.keys, keys);
  Store(a, grad.value, a.valueGrad, a.keys, keys);
}

}  // namespace

size_t AttentionWorkBytes(const Attention& attention) {
  WorkMemory memory;
  HeadWork work(attention, memory);
  return memory.Bytes() * (attention.outGrad == nullptr ? 1 : 2);
}

void ComputeAttention(const Attention& attention, float* work) {
  WorkMemory memory(work);
  HeadWork values(attention, memory);
  std::optional<HeadWork> grads;
  if (attention.outGrad != nullptr) {
    grads.emplace(attention, memory);
  }
  for (size_t i = 0; i < attention.batches * attention.heads; ++i) {
    const Rows keys{i / attention.heads, i % attention.heads, 0, attention.keys};
    Load(attention, attention.key, attention.keys, keys, values.key);
    Load(attention, attention.value, attention.keys, keys, values.value);
    if (grads.has_value()) {
      DifferentiateHead(attention, keys, values, *grads);
    } else {
      ForEachBlock(attention, keys, [&](const Rows& rows) { AttendRows(attention, rows, values); });
    }
  }
}

}  // namespace OrmoHost
