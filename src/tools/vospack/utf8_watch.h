// Watches the texts that the loader keeps for bytes that are not UTF-8, and warns about the
// first such text of a file only: a file written in another encoding would otherwise give
// one warning per name.
#pragma once

#include <string_view>

#include "util/utf8.h"
#include "util/xml.h"

namespace vos {

// Warning 1008: a kept text that is not valid UTF-8 (loaded as it is).
inline constexpr int k_warning_invalid_utf8 = 1008;

// The once-per-file state: reset() at the start of every file, check() for every kept text.
class utf8_watch {
 public:
  void reset() noexcept { reported_ = false; }
  // `text` was read from `node` (for the place of the warning). A warning that is
  // suppressed still counts as the file's one report.
  void check(const xml_node* node, std::string_view text) {
    if (!reported_ && !utf8_valid(text)) report(node);
  }
  bool reported() const noexcept { return reported_; }

 private:
  void report(const xml_node* node);
  bool reported_ = false;
};

}  // namespace vos
