// automaton_baseline FILE...: the cost of touching every byte once. Reads each file whole
// and runs a small table-driven automaton over every byte (a 256-entry character-class table
// and a state table), counting start tags, so that the loop cannot be dropped. The converter's
// whole run is measured against this yardstick by run_process_bench.sh.
#include <array>
#include <cstdint>
#include <cstdio>
#include <vector>

namespace {

// Character classes.
enum : uint8_t { C_OTHER, C_LT, C_GT, C_SLASH, C_MARK, C_QUOTE, C_COUNT };
// States; an entry of the state table holds the next state in its low bits and kTagStart
// when a start tag begins.
enum : uint8_t { S_TEXT, S_AFTER_LT, S_TAG, S_END_TAG, S_DECL, S_QUOTED, S_COUNT };
constexpr uint8_t kTagStart = 0x80;
constexpr uint8_t kStateMask = 0x0F;

constexpr std::array<uint8_t, 256> make_classes() {
  std::array<uint8_t, 256> c{};
  c['<'] = C_LT;
  c['>'] = C_GT;
  c['/'] = C_SLASH;
  c['?'] = C_MARK;
  c['!'] = C_MARK;
  c['"'] = C_QUOTE;
  return c;
}

constexpr std::array<std::array<uint8_t, C_COUNT>, S_COUNT> make_states() {
  std::array<std::array<uint8_t, C_COUNT>, S_COUNT> t{};
  for (auto& row : t) row.fill(S_TEXT);
  // Text until '<'.
  t[S_TEXT].fill(S_TEXT);
  t[S_TEXT][C_LT] = S_AFTER_LT;
  // After '<': an end tag, a declaration or comment, or a start tag.
  t[S_AFTER_LT].fill(S_TAG | kTagStart);
  t[S_AFTER_LT][C_SLASH] = S_END_TAG;
  t[S_AFTER_LT][C_MARK] = S_DECL;
  // Inside a start tag: quoted attribute values may hold '>'.
  t[S_TAG].fill(S_TAG);
  t[S_TAG][C_QUOTE] = S_QUOTED;
  t[S_TAG][C_GT] = S_TEXT;
  t[S_QUOTED].fill(S_QUOTED);
  t[S_QUOTED][C_QUOTE] = S_TAG;
  t[S_END_TAG].fill(S_END_TAG);
  t[S_END_TAG][C_GT] = S_TEXT;
  t[S_DECL].fill(S_DECL);
  t[S_DECL][C_GT] = S_TEXT;
  return t;
}

constexpr std::array<uint8_t, 256> kClasses = make_classes();
constexpr std::array<std::array<uint8_t, C_COUNT>, S_COUNT> kStates = make_states();

uint64_t count_tags(const std::vector<unsigned char>& text) {
  uint64_t tags = 0;
  uint8_t state = S_TEXT;
  for (const unsigned char b : text) {
    state = kStates[state & kStateMask][kClasses[b]];
    tags += state >> 7;
  }
  return tags;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: automaton_baseline FILE...\n");
    return 1;
  }
  std::vector<unsigned char> text;
  uint64_t bytes = 0, tags = 0;
  for (int i = 1; i < argc; ++i) {
    std::FILE* f = std::fopen(argv[i], "rb");
    if (f == nullptr) {
      std::fprintf(stderr, "error: cannot open '%s'\n", argv[i]);
      return 1;
    }
    // Whole file in one buffer, as the converter reads it.
    long size = -1;
    if (std::fseek(f, 0, SEEK_END) == 0) size = std::ftell(f);
    std::rewind(f);
    if (size < 0) {
      std::fprintf(stderr, "error: cannot size '%s'\n", argv[i]);
      std::fclose(f);
      return 1;
    }
    text.resize(static_cast<std::size_t>(size));
    text.resize(std::fread(text.data(), 1, text.size(), f));
    std::fclose(f);
    bytes += text.size();
    tags += count_tags(text);
  }
  std::printf("%llu bytes, %llu start tags\n", static_cast<unsigned long long>(bytes),
              static_cast<unsigned long long>(tags));
  return 0;
}
