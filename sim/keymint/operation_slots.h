// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <memory>

namespace orx_sim {

// OperationSlots counts the operations that are open at once, within one process.
class OperationSlots {
 public:
  explicit OperationSlots(int capacity) : free_(capacity) {}

  // A Slot is held by an open operation; the last reference frees it. An operation that was
  // abandoned frees its slot when its client lets go of it.
  class Slot {
   public:
    explicit Slot(std::shared_ptr<OperationSlots> slots) : slots_(std::move(slots)) {}
    ~Slot() { slots_->free_++; }
    Slot(const Slot&) = delete;
    Slot& operator=(const Slot&) = delete;

   private:
    const std::shared_ptr<OperationSlots> slots_;
  };

  // Take returns a slot, or null when all are taken.
  static std::unique_ptr<Slot> Take(const std::shared_ptr<OperationSlots>& slots) {
    int free = slots->free_;
    while (free > 0) {
      if (slots->free_.compare_exchange_weak(free, free - 1)) return std::make_unique<Slot>(slots);
    }
    return nullptr;
  }

 private:
  std::atomic<int> free_;
};

}  // namespace orx_sim
