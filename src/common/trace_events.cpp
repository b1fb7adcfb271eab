#include "common/trace_events.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace Ormo {

namespace {

constexpr size_t BLOCK_SIZE = 65536;

/// What stands in front of an event's three texts.
struct PackedHead {
  uint64_t ts;
  uint32_t nameSize;
  uint32_t pidSize;
  uint32_t tidSize;
  char ph;
};

std::string_view TakeText(const std::string& bytes, size_t& at, size_t size) {
  const std::string_view text(bytes.data() + at, size);
  at += size;
  return text;
}

}  // namespace

TraceEvents::TraceEvents(TraceEvents&& other) noexcept {
  *this = std::move(other);
}

TraceEvents& TraceEvents::operator=(TraceEvents&& other) noexcept {
  blocks_.swap(other.blocks_);
  std::swap(count_, other.count_);
  return *this;
}

void TraceEvents::Add(const TraceEvent& event) {
  const PackedHead head{event.ts, static_cast<uint32_t>(event.name.size()),
                        static_cast<uint32_t>(event.pid.size()),
                        static_cast<uint32_t>(event.tid.size()), event.ph};
  ReserveRoom(sizeof(head) + event.name.size() + event.pid.size() + event.tid.size());
  Block& block = blocks_.back();
  block.bytes.append(reinterpret_cast<const char*>(&head), sizeof(head));
  block.bytes.append(event.name).append(event.pid).append(event.tid);
  ++block.count;
  ++count_;
}

void TraceEvents::ReserveRoom(size_t size) {
  if (!blocks_.empty()) {
    const std::string& bytes = blocks_.back().bytes;
    if (bytes.capacity() - bytes.size() >= size) {
      return;
    }
  }
  Block block;
  block.bytes.reserve(std::max(size, BLOCK_SIZE));
  blocks_.push_back(std::move(block));
}

bool TraceEvents::KeepNewest(size_t limit) noexcept {
  const bool tooMany = count_ > limit;
  while (count_ > limit) {
    if (count_ - blocks_.front().count >= limit) {
      TakeBlock();
    } else {
      DropOldest();
    }
  }
  return tooMany;
}

void TraceEvents::DropOldest() noexcept {
  Block& block = blocks_.front();
  Unpack(block, block.begin);
  --block.count;
  --count_;
  if (block.count == 0) {
    blocks_.pop_front();
  }
}

TraceEvents TraceEvents::TakeBlock() noexcept {
  TraceEvents taken;
  if (!blocks_.empty()) {
    taken.count_ = blocks_.front().count;
    count_ -= taken.count_;
    taken.blocks_.splice(taken.blocks_.begin(), blocks_, blocks_.begin());
  }
  return taken;
}

void TraceEvents::PutBack(TraceEvents older) noexcept {
  blocks_.splice(blocks_.begin(), older.blocks_);
  count_ += older.count_;
}

TraceEvent TraceEvents::Unpack(const Block& block, size_t& at) {
  PackedHead head{};
  std::memcpy(&head, block.bytes.data() + at, sizeof(head));
  at += sizeof(head);
  TraceEvent event;
  event.ph = head.ph;
  event.ts = head.ts;
  event.name = TakeText(block.bytes, at, head.nameSize);
  event.pid = TakeText(block.bytes, at, head.pidSize);
  event.tid = TakeText(block.bytes, at, head.tidSize);
  return event;
}

}  // namespace Ormo
