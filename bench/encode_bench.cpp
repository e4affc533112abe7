// Encoding throughput (bytes of encoded output per second) over a representative mix of
// variant values.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "uabase/encoder.h"
#include "uabase/ns0_types_gen.h"
#include "uabase/type_table.h"

namespace {

using namespace vos;

std::vector<ua_variant> make_values() {
  std::vector<ua_variant> values;
  values.push_back(ua_variant::scalar_of(int32_t{-42}));
  values.push_back(ua_variant::scalar_of(3.25));
  values.push_back(ua_variant::scalar_of(true));
  values.push_back(ua_variant::scalar_of(ua_datetime{132000000000000000}));
  values.push_back(ua_variant::scalar_of(ua_nodeid(2, 5001)));
  values.push_back(ua_variant::scalar_of(ua_string("Temperature of the main boiler")));
  values.push_back(ua_variant::scalar_of(ua_localizedtext{"en-US", "Main boiler temperature"}));
  values.push_back(ua_variant::scalar_of(ua_qualifiedname{2, "BoilerTemperature"}));

  ua_variant doubles;
  auto d = doubles.set_array<double>(256);
  for (std::size_t i = 0; i < d.size(); ++i) d[i] = static_cast<double>(i) * 0.25;
  values.push_back(doubles);
  ua_variant ints;
  auto n = ints.set_array<uint32_t>(128);
  for (std::size_t i = 0; i < n.size(); ++i) n[i] = static_cast<uint32_t>(i * 7);
  values.push_back(ints);
  ua_variant strings;
  auto s = strings.set_array<ua_string>(64);
  for (std::size_t i = 0; i < s.size(); ++i) s[i] = "EnumValue_" + std::to_string(i);
  values.push_back(strings);
  ua_variant texts;
  auto t = texts.set_array<ua_localizedtext>(16);
  for (std::size_t i = 0; i < t.size(); ++i)
    t[i] = ua_localizedtext{"en", "State number " + std::to_string(i)};
  values.push_back(texts);

  ua_variant args;
  auto a = args.set_array<ua_extensionobject>(4);
  for (std::size_t i = 0; i < a.size(); ++i) {
    auto* arg = ua_extensionobject_emplace_ns0_as<ua_argument>(a[i], UA_TYPE_ARGUMENT);
    arg->name = "InputArgument" + std::to_string(i);
    arg->data_type = ua_nodeid(0, 11);
    arg->value_rank = 1;
    arg->array_dimensions = {8};
    arg->description = ua_localizedtext{"en", "An input argument of the method"};
  }
  values.push_back(args);
  return values;
}

void BM_EncodeVariants(benchmark::State& state) {
  const std::vector<ua_variant> values = make_values();
  ua_encoder enc(static_cast<std::size_t>(state.range(0)));
  std::size_t bytes = 0;
  for (auto _ : state) {
    enc.reset();
    for (const ua_variant& v : values) {
      if (ua_encode_variant(enc, v) != 0) state.SkipWithError("encoding failed");
    }
    bytes += enc.size();
    benchmark::DoNotOptimize(enc.size());
  }
  state.SetBytesProcessed(static_cast<int64_t>(bytes));
}
BENCHMARK(BM_EncodeVariants)->Arg(4096)->Arg(65536);

// Only the values encoded element by element (no bulk-copied number arrays).
void BM_EncodeStructuredOnly(benchmark::State& state) {
  std::vector<ua_variant> values;
  for (ua_variant& v : make_values())
    if (v.type() != UA_VT_DOUBLE && v.type() != UA_VT_UINT32) values.push_back(std::move(v));
  ua_encoder enc;
  std::size_t bytes = 0;
  for (auto _ : state) {
    enc.reset();
    for (const ua_variant& v : values) {
      if (ua_encode_variant(enc, v) != 0) state.SkipWithError("encoding failed");
    }
    bytes += enc.size();
    benchmark::DoNotOptimize(enc.size());
  }
  state.SetBytesProcessed(static_cast<int64_t>(bytes));
}
BENCHMARK(BM_EncodeStructuredOnly);

void BM_DecodeVariants(benchmark::State& state) {
  const std::vector<ua_variant> values = make_values();
  ua_encoder enc;
  for (const ua_variant& v : values) ua_encode_variant(enc, v);
  const std::vector<uint8_t> data = enc.bytes();
  ua_variant out;
  for (auto _ : state) {
    ua_decoder dec(data);
    while (dec.remaining() > 0) {
      if (ua_decode_variant(dec, out) != 0) {
        state.SkipWithError("decoding failed");
        break;
      }
    }
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * data.size()));
}
BENCHMARK(BM_DecodeVariants);

}  // namespace

BENCHMARK_MAIN();
