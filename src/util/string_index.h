// An index of strings: an open-addressing hash table (linear probing) from strings to the
// 32-bit numbers they were entered with. The table holds slices: the caller keeps the texts
// alive. No heap block per entry, and a look-up touches one or two slots.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace vos {

class string_index {
 public:
  static constexpr uint32_t k_none = UINT32_MAX;

  string_index() { clear(); }

  // Enters `key` with `value` unless it is there already; returns the value it has.
  uint32_t insert(std::string_view key, uint32_t value) {
    Slot& slot = slots_[probe(key)];
    if (slot.value != k_none) return slot.value;
    slot = Slot{key, value};
    if (++size_ * 2 > slots_.size()) grow();
    return value;
  }
  // The value of `key`, or k_none.
  uint32_t find(std::string_view key) const { return slots_[probe(key)].value; }
  std::size_t size() const noexcept { return size_; }
  void clear() {
    slots_.assign(k_initial_slots, Slot{});
    size_ = 0;
  }

 private:
  struct Slot {
    std::string_view key;
    uint32_t value = k_none;
  };
  static constexpr std::size_t k_initial_slots = 64;

  static uint64_t hash(std::string_view s) noexcept {
    uint64_t h = 0xcbf29ce484222325ULL;  // FNV-1a
    for (const char c : s) h = (h ^ static_cast<unsigned char>(c)) * 0x100000001b3ULL;
    return h ^ (h >> 32);
  }
  std::size_t probe(std::string_view key) const {
    const std::size_t mask = slots_.size() - 1;
    std::size_t i = hash(key) & mask;
    while (slots_[i].value != k_none && slots_[i].key != key) i = (i + 1) & mask;
    return i;
  }
  void grow() {
    std::vector<Slot> old(slots_.size() * 2);
    old.swap(slots_);
    for (const Slot& s : old)
      if (s.value != k_none) slots_[probe(s.key)] = s;
  }

  std::vector<Slot> slots_;
  std::size_t size_ = 0;
};

}  // namespace vos
