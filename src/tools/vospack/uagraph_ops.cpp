#include <algorithm>
#include <array>
#include <vector>

#include "diag/diag.h"
#include "tools/vospack/uagraph.h"
#include "util/errors.h"

namespace vos {

namespace {

// ---- symbolic names ---------------------------------------------------------------------

struct transliteration {
  const char* utf8;   // a two-byte UTF-8 sequence
  const char* ascii;  // its replacement: one or two letters
};

// The letters of Latin-1 Supplement and Latin Extended-A, in code-point order, without
// their diacritics. Rows of their own: ß gives "s"; Ĳ, ĳ, Œ, œ give two letters; ŉ gives
// "N"; Ŋ and ŋ swap their case; ö is listed twice. ×, ÷, Æ, æ, Ð, ð, Ø, ø, Þ, þ have no row.
constexpr transliteration kTransliterations[] = {
    {"À", "A"},  {"Á", "A"},  {"Â", "A"}, {"Ã", "A"}, {"Ä", "A"},  {"Å", "A"},  {"Ç", "C"},
    {"È", "E"},  {"É", "E"},  {"Ê", "E"}, {"Ë", "E"}, {"Ì", "I"},  {"Í", "I"},  {"Î", "I"},
    {"Ï", "I"},  {"Ñ", "N"},  {"Ò", "O"}, {"Ó", "O"}, {"Ô", "O"},  {"Õ", "O"},  {"Ö", "O"},
    {"Ù", "U"},  {"Ú", "U"},  {"Û", "U"}, {"Ü", "U"}, {"Ý", "Y"},  {"ß", "s"},  {"à", "a"},
    {"á", "a"},  {"â", "a"},  {"ã", "a"}, {"ä", "a"}, {"å", "a"},  {"ç", "c"},  {"è", "e"},
    {"é", "e"},  {"ê", "e"},  {"ë", "e"}, {"ì", "i"}, {"í", "i"},  {"î", "i"},  {"ï", "i"},
    {"ñ", "n"},  {"ò", "o"},  {"ó", "o"}, {"ô", "o"}, {"õ", "o"},  {"ö", "o"},  {"ö", "o"},
    {"ù", "u"},  {"ú", "u"},  {"û", "u"}, {"ü", "u"}, {"ý", "y"},  {"ÿ", "y"},  {"Ā", "A"},
    {"ā", "a"},  {"Ă", "A"},  {"ă", "a"}, {"Ą", "A"}, {"ą", "a"},  {"Ć", "C"},  {"ć", "c"},
    {"Ĉ", "C"},  {"ĉ", "c"},  {"Ċ", "C"}, {"ċ", "c"}, {"Č", "C"},  {"č", "c"},  {"Ď", "D"},
    {"ď", "d"},  {"Đ", "D"},  {"đ", "d"}, {"Ē", "E"}, {"ē", "e"},  {"Ĕ", "E"},  {"ĕ", "e"},
    {"Ė", "E"},  {"ė", "e"},  {"Ę", "E"}, {"ę", "e"}, {"Ě", "E"},  {"ě", "e"},  {"Ĝ", "G"},
    {"ĝ", "g"},  {"Ğ", "G"},  {"ğ", "g"}, {"Ġ", "G"}, {"ġ", "g"},  {"Ģ", "G"},  {"ģ", "g"},
    {"Ĥ", "H"},  {"ĥ", "h"},  {"Ħ", "H"}, {"ħ", "h"}, {"Ĩ", "I"},  {"ĩ", "i"},  {"Ī", "I"},
    {"ī", "i"},  {"Ĭ", "I"},  {"ĭ", "i"}, {"Į", "I"}, {"į", "i"},  {"İ", "I"},  {"ı", "i"},
    {"Ĳ", "IJ"}, {"ĳ", "ij"}, {"Ĵ", "J"}, {"ĵ", "j"}, {"Ķ", "K"},  {"ķ", "k"},  {"ĸ", "k"},
    {"Ĺ", "L"},  {"ĺ", "l"},  {"Ļ", "L"}, {"ļ", "l"}, {"Ľ", "L"},  {"ľ", "l"},  {"Ŀ", "L"},
    {"ŀ", "l"},  {"Ł", "L"},  {"ł", "l"}, {"Ń", "N"}, {"ń", "n"},  {"Ņ", "N"},  {"ņ", "n"},
    {"Ň", "N"},  {"ň", "n"},  {"ŉ", "N"}, {"Ŋ", "n"}, {"ŋ", "N"},  {"Ō", "O"},  {"ō", "o"},
    {"Ŏ", "O"},  {"ŏ", "o"},  {"Ő", "O"}, {"ő", "o"}, {"Œ", "OE"}, {"œ", "oe"}, {"Ŕ", "R"},
    {"ŕ", "r"},  {"Ŗ", "R"},  {"ŗ", "r"}, {"Ř", "R"}, {"ř", "r"},  {"Ś", "S"},  {"ś", "s"},
    {"Ŝ", "S"},  {"ŝ", "s"},  {"Ş", "S"}, {"ş", "s"}, {"Š", "S"},  {"š", "s"},  {"Ţ", "T"},
    {"ţ", "t"},  {"Ť", "T"},  {"ť", "t"}, {"Ŧ", "T"}, {"ŧ", "t"},  {"Ũ", "U"},  {"ũ", "u"},
    {"Ū", "U"},  {"ū", "u"},  {"Ŭ", "U"}, {"ŭ", "u"}, {"Ů", "U"},  {"ů", "u"},  {"Ű", "U"},
    {"ű", "u"},  {"Ų", "U"},  {"ų", "u"}, {"Ŵ", "W"}, {"ŵ", "w"},  {"Ŷ", "Y"},  {"ŷ", "y"},
    {"Ÿ", "Y"},  {"Ź", "Z"},  {"ź", "z"}, {"Ż", "Z"}, {"ż", "z"},  {"Ž", "Z"},  {"ž", "z"},
    {"ſ", "s"},
};
static_assert(std::size(kTransliterations) == 183);

// Row index by (lead byte 0xC3..0xC5, continuation byte); the first row of a pair wins.
constexpr std::size_t kNoRow = 0xff;
constexpr auto kRowIndex = [] {
  std::array<std::array<uint8_t, 64>, 3> index{};
  for (auto& lead : index) lead.fill(static_cast<uint8_t>(kNoRow));
  for (std::size_t row = std::size(kTransliterations); row-- > 0;) {
    const auto lead = static_cast<unsigned char>(kTransliterations[row].utf8[0]);
    const auto cont = static_cast<unsigned char>(kTransliterations[row].utf8[1]);
    index[lead - 0xC3][cont - 0x80] = static_cast<uint8_t>(row);
  }
  return index;
}();

std::size_t row_of(unsigned char lead, unsigned char cont) noexcept {
  if (lead < 0xC3 || lead > 0xC5 || cont < 0x80 || cont > 0xBF) return kNoRow;
  return kRowIndex[lead - 0xC3][cont - 0x80];
}

bool is_identifier_char(unsigned char c) noexcept {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

// ---- wildcard matching ------------------------------------------------------------------

constexpr int kMaxMatchDepth = 10;

// Matching state. The n-th '*' group of the pattern is always tried at nesting level n, so
// an attempt of a group at a text position that was a mismatch once is one again:
// `mismatched` remembers those (level, position) pairs and spares the repeats.
struct matcher {
  std::string_view pattern;
  std::string_view text;
  std::vector<uint8_t> mismatched;

  uint8_t& attempt(int depth, std::size_t t) {
    if (mismatched.empty()) mismatched.assign(kMaxMatchDepth * (text.size() + 1), 0);
    return mismatched[static_cast<std::size_t>(depth) * (text.size() + 1) + t];
  }

  int match(std::size_t p, std::size_t t, int depth) {
    if (depth >= kMaxMatchDepth) return UA_EBADTOOMANYNESTEDCALLS;
    while (p < pattern.size()) {
      if (pattern[p] == '*') {
        while (p < pattern.size() && pattern[p] == '*') ++p;
        if (p == pattern.size()) return 0;
        for (std::size_t i = t; i <= text.size(); ++i) {
          uint8_t& failed = attempt(depth, i);
          if (failed != 0) continue;
          const int rc = match(p, i, depth + 1);
          if (rc != UA_EBADMISMATCH) return rc;
          failed = 1;
        }
        return UA_EBADMISMATCH;
      }
      if (t == text.size()) return UA_EBADMISMATCH;
      if (pattern[p] != '?' && pattern[p] != text[t]) return UA_EBADMISMATCH;
      ++p;
      ++t;
    }
    return t == text.size() ? 0 : UA_EBADMISMATCH;
  }
};

}  // namespace

void uagraph_make_symbolic_name(ua_string& out, std::string_view input) {
  std::string name;
  name.reserve(input.size() + 1);
  std::size_t i = 0;
  while (i < input.size()) {
    const auto c = static_cast<unsigned char>(input[i]);
    if (i + 1 < input.size()) {
      const std::size_t row = row_of(c, static_cast<unsigned char>(input[i + 1]));
      if (row != kNoRow) {
        name += kTransliterations[row].ascii;
        i += 2;
        continue;
      }
    }
    if (is_identifier_char(c)) name += static_cast<char>(c);
    ++i;
  }
  if (name.empty()) {
    out.clear();
  } else {
    out.assign(name);
  }
}

int uagraph_wildcard_match(std::string_view pattern, std::string_view text, int /*flags*/) {
  matcher m{pattern, text, {}};
  return m.match(0, 0, 0);
}

bool uagraph_node_contains_category(const uagraph_node& node, std::string_view pattern) {
  for (const ua_string& category : node.extra().categories) {
    const int rc = uagraph_wildcard_match(pattern, category.view(), 0);
    if (rc == 0) return true;
    if (rc != UA_EBADMISMATCH) {
      diag_error(VOS_HERE, "uagraph_node_contains_category",
                 "Wildcard matching failed with error.\n");
      return false;
    }
  }
  return false;
}

int uagraph_node_remove_category(uagraph_node& node, std::string_view pattern) {
  if (node.extra().categories.empty()) return 0;
  std::vector<ua_string>& categories = node.extra_mut().categories;
  for (auto it = categories.begin(); it != categories.end();) {
    const int rc = uagraph_wildcard_match(pattern, it->view(), 0);
    if (rc == 0) {
      it = categories.erase(it);
    } else if (rc == UA_EBADMISMATCH) {
      ++it;
    } else {
      diag_error(VOS_HERE, "uagraph_node_remove_category",
                 "Wildcard matching failed with error.\n");
      return rc;
    }
  }
  return 0;
}

}  // namespace vos
