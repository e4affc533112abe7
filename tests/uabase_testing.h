// Helpers of the encoding-library tests: byte literals and capture of the library's trace.
#pragma once

#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "support/testutil.h"
#include "trace/trace.h"
#include "uabase/encoder.h"

namespace vos::test {

using Bytes = std::vector<uint8_t>;

inline Bytes encode_with(const std::function<int(ua_encoder&)>& fn, int* status = nullptr) {
  ua_encoder enc;
  int ret = fn(enc);
  if (status != nullptr) *status = ret;
  return enc.bytes();
}

// Runs the trace into a scratch folder for the lifetime of the object: ERROR and WARNING
// lines are caught from stderr, every line is in the trace files.
class TraceCapture {
 public:
  explicit TraceCapture(uint32_t levels = TRACE_LEVEL_ERROR | TRACE_LEVEL_WARNING |
                                          TRACE_LEVEL_INFO | TRACE_LEVEL_DEBUG)
      : old_cwd_(std::filesystem::current_path()) {
    std::filesystem::current_path(dir_.path());
    {
      CaptureFd out(1);  // the back end announces itself on stdout
      trace_start(levels, TRACE_COMPONENT_ALL);
      out.finish();
    }
    err_.emplace(2);
  }
  ~TraceCapture() { stop(); }
  TraceCapture(const TraceCapture&) = delete;
  TraceCapture& operator=(const TraceCapture&) = delete;

  // Stops the trace and returns what went to stderr.
  std::string stderr_text() {
    stop();
    return err_text_;
  }
  // Stops the trace and returns the contents of every trace file, oldest first.
  std::string file_text() {
    stop();
    std::string all;
    for (int i = 1; i < 1000; ++i) {
      auto p = dir_ / ("log." + std::to_string(i) + ".txt");
      if (std::filesystem::exists(p)) all += read_file(p);
    }
    return all;
  }

 private:
  void stop() {
    if (stopped_) return;
    stopped_ = true;
    trace_close();
    err_text_ = err_->finish();
    std::filesystem::current_path(old_cwd_);
  }

  TempDir dir_;
  std::filesystem::path old_cwd_;
  std::optional<CaptureFd> err_;
  std::string err_text_;
  bool stopped_ = false;
};

}  // namespace vos::test
