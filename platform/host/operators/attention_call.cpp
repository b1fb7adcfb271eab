#include "operators/attention_call.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <string>

#include "operators/attention.h"
#include "operators/operands.h"
#include "seam/single.h"

namespace OrmoHost {
namespace {

void CheckReservedArray(const AttentionAttributes& attributes) {
  if (attributes.reserved == nullptr) {
    return;
  }
  auto array = Single<Arrays<int64_t>>().Find(reinterpret_cast<uintptr_t>(attributes.reserved));
  Expect(array != nullptr && array->empty(), {"reserved", attributes.position},
         "an integer array without elements");
}

// What needs no tensor to be checked.
void CheckAttributes(const AttentionAttributes& attributes) {
  size_t first = attributes.position;
  CheckReservedArray(attributes);
  bool isScale = attributes.scale >= std::numeric_limits<float>::min() &&
                 attributes.scale <= std::numeric_limits<float>::max();
  Expect(isScale, {"scale", first + 1}, "a positive number that float32 can hold");
  Expect(attributes.keepProbability == 1, {"keepProbability", first + 2}, "1");
  Expect(attributes.headCount > 0, {"headCount", first + 5}, "a positive number");
  Expect(attributes.precisionMode == 0, {"precisionMode", first + 7}, "0");
  Expect(attributes.maskMode == 0, {"maskMode", first + 8}, "0");
}

AttentionLayout GetLayout(const AttentionAttributes& attributes) {
  // Reads no further than the first difference: what comes here may be no text at all.
  auto is = [&](const char* name) { return std::strcmp(attributes.layout, name) == 0; };
  Expect(attributes.layout != nullptr && (is("BSH") || is("BNSD")),
         {"layout", attributes.position + 6}, "\"BSH\" or \"BNSD\"");
  return is("BSH") ? AttentionLayout::BSH : AttentionLayout::BNSD;
}

// From arguments to what the arithmetic works on.
class AttentionBuilder {
 public:
  // Checks and binds everything.
  AttentionBuilder(OperatorKind kind, const AttentionArguments& arguments);

  Executor MakeExecutor() {
    return operands_.MakeExecutor(kind_, AttentionWorkBytes(attention_),
                                  [attention = attention_](void* work) {
                                    ComputeAttention(attention, static_cast<float*>(work));
                                  });
  }

 private:
  void TakeQuery();
  void TakeHeads();
  void TakeKeys();
  void CheckWindow() const;
  void BindMask();
  float* BindSoftmax(const TensorArgument& argument, bool isOutput);
  void BindGradients();

  void* BindLikeQuery(const TensorArgument& argument, bool isOutput) {
    return operands_.Bind(argument, queryShape_, elementTypes_, isOutput);
  }

  void* BindLikeKey(const TensorArgument& argument, bool isOutput) {
    return operands_.Bind(argument, keyShape_, elementTypes_, isOutput);
  }

  bool IsByHead() const { return attention_.layout == AttentionLayout::BNSD; }

  // Where a shape has its queries or keys.
  size_t SequenceIndex() const { return IsByHead() ? 2 : 1; }

  const OperatorKind kind_;
  const AttentionArguments& arguments_;
  OperandBinder operands_;
  Types elementTypes_ = FLOAT32;  // the query's, which all but mask and softmax share
  Shape queryShape_;
  Shape keyShape_;
  Attention attention_{};
};

AttentionBuilder::AttentionBuilder(OperatorKind kind, const AttentionArguments& arguments)
    : kind_(kind), arguments_(arguments) {
  CheckAttributes(arguments.attributes);
  for (const TensorArgument& argument : arguments.reserved) {
    Expect(argument.tensor == nullptr, argument.parameter, "no tensor");
  }
  attention_.scale = static_cast<float>(arguments.attributes.scale);
  attention_.layout = GetLayout(arguments.attributes);
  TakeQuery();
  TakeHeads();
  TakeKeys();
  CheckWindow();
  attention_.query = BindLikeQuery(arguments.query, false);
  attention_.key = BindLikeKey(arguments.key, false);
  attention_.value = BindLikeKey(arguments.value, false);
  BindMask();
  // The gradients' call takes the results of the other one.
  const bool isOutput = kind == OperatorKind::ATTENTION;
  attention_.softmaxMax = BindSoftmax(arguments.softmaxMax, isOutput);
  attention_.softmaxSum = BindSoftmax(arguments.softmaxSum, isOutput);
  attention_.out = BindLikeQuery(arguments.out, isOutput);
  if (kind == OperatorKind::ATTENTION_GRADIENT) {
    BindGradients();
  }
}

void AttentionBuilder::TakeQuery() {
  std::shared_ptr<const Tensor> query = FindTensor(arguments_.query);
  queryShape_ = *query->view;
  int64_t rank = IsByHead() ? 4 : 3;
  bool hasSizes =
      queryShape_.size() == static_cast<size_t>(rank) &&
      std::all_of(queryShape_.begin(), queryShape_.end(), [](int64_t dim) { return dim > 0; });
  Expect(hasSizes, arguments_.query.parameter, rank, " positive dimensions, not ", queryShape_);
  attention_.isHalf = query->dataType == ox::DT_FLOAT16;
  elementTypes_ = attention_.isHalf ? FLOAT16 : FLOAT32;
  Expect(attention_.isHalf || query->dataType == ox::DT_FLOAT, arguments_.query.parameter,
         "float32 or float16");
  attention_.batches = static_cast<size_t>(queryShape_[0]);
  attention_.queries = static_cast<size_t>(queryShape_[SequenceIndex()]);
}

void AttentionBuilder::TakeHeads() {
  int64_t heads = arguments_.attributes.headCount;
  int64_t width = queryShape_.back();
  bool isFitting = IsByHead() ? queryShape_[1] == heads : width % heads == 0;
  Expect(isFitting, {"headCount", arguments_.attributes.position + 5}, "the heads of ", queryShape_,
         ", not ", heads);
  attention_.heads = static_cast<size_t>(heads);
  attention_.depth = static_cast<size_t>(IsByHead() ? width : width / heads);
}

// The number of keys is the key's own; all else is the query's.
void AttentionBuilder::TakeKeys() {
  const Shape& shape = *FindTensor(arguments_.key)->view;
  keyShape_ = queryShape_;
  if (shape.size() == queryShape_.size()) {
    keyShape_[SequenceIndex()] = std::max<int64_t>(1, shape[SequenceIndex()]);
  }
  attention_.keys = static_cast<size_t>(keyShape_[SequenceIndex()]);
}

void AttentionBuilder::CheckWindow() const {
  auto longest = static_cast<int64_t>(std::max(attention_.queries, attention_.keys));
  const AttentionAttributes& attributes = arguments_.attributes;
  constexpr char REASON[] = ", so that no key is left out";
  Expect(attributes.keysBefore >= longest, {"keysBefore", attributes.position + 3}, "at least ",
         longest, REASON);
  Expect(attributes.keysAfter >= longest, {"keysAfter", attributes.position + 4}, "at least ",
         longest, REASON);
}

void AttentionBuilder::BindMask() {
  const TensorArgument& argument = arguments_.mask;
  if (argument.tensor == nullptr) {
    return;
  }
  Shape shape = *FindTensor(argument)->view;
  Shape whole = {queryShape_[0], arguments_.attributes.headCount, queryShape_[SequenceIndex()],
                 keyShape_[SequenceIndex()]};
  size_t matrix = attention_.queries * attention_.keys;
  if (shape.size() == whole.size()) {
    whole[1] = shape[1] == 1 ? 1 : whole[1];
    attention_.maskHeadStep = whole[1] == 1 ? 0 : matrix;
    attention_.maskBatchStep = static_cast<size_t>(whole[1]) * matrix;
  } else {
    whole.erase(whole.begin(), whole.begin() + 2);
  }
  attention_.mask = static_cast<uint8_t*>(operands_.Bind(argument, whole, BYTES, false));
}

float* AttentionBuilder::BindSoftmax(const TensorArgument& argument, bool isOutput) {
  Shape shape = {queryShape_[0], arguments_.attributes.headCount, queryShape_[SequenceIndex()]};
  return static_cast<float*>(operands_.Bind(argument, shape, FLOAT32, isOutput));
}

void AttentionBuilder::BindGradients() {
  attention_.outGrad = BindLikeQuery(arguments_.outGrad, false);
  attention_.queryGrad = BindLikeQuery(arguments_.queryGrad, true);
  attention_.keyGrad = BindLikeKey(arguments_.keyGrad, true);
  attention_.valueGrad = BindLikeKey(arguments_.valueGrad, true);
}

}  // namespace

Executor PrepareAttention(OperatorKind kind, const AttentionArguments& arguments) {
  return AttentionBuilder(kind, arguments).MakeExecutor();
}

}  // namespace OrmoHost
