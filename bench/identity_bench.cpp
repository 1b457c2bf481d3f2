#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>

#include "keep_heap.h"
#include "lxbase/components.h"
#include "lxbase/date.h"
#include "lxbase/text.h"
#include "lxbase/uuid.h"

namespace {

constexpr std::size_t kTextBytes = std::size_t{64} << 20;

std::string AsciiText() {
    std::string text(kTextBytes, ' ');
    for (std::size_t i = 0; i < text.size(); ++i) text[i] = static_cast<char>('!' + i % 90);
    return text;
}

// Latin, accented Latin, CJK and emoji in turn: 1-, 2-, 3- and 4-byte forms.
std::string MixedText() {
    const std::string unit = "point \xC3\xA9t\xC3\xA9 \xE7\x82\xB9\xE4\xBA\x91 \xF0\x9F\x98\x80 ";
    std::string text;
    text.reserve(kTextBytes + unit.size());
    while (text.size() + unit.size() <= kTextBytes) text += unit;
    return text;
}

void Utf8ToUtf16(benchmark::State& state, const std::string& text) {
    for (auto _ : state) benchmark::DoNotOptimize(lxbase::Decode_UTF8(text));
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}

void Utf16ToUtf8(benchmark::State& state, const std::string& text) {
    const std::u16string wide = lxbase::Decode_UTF8(text);
    for (auto _ : state) benchmark::DoNotOptimize(lxbase::Encode_UTF8(wide));
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}

void BM_Utf8ToUtf16_Ascii(benchmark::State& state) { Utf8ToUtf16(state, AsciiText()); }
void BM_Utf8ToUtf16_Mixed(benchmark::State& state) { Utf8ToUtf16(state, MixedText()); }
void BM_Utf16ToUtf8_Ascii(benchmark::State& state) { Utf16ToUtf8(state, AsciiText()); }
void BM_Utf16ToUtf8_Mixed(benchmark::State& state) { Utf16ToUtf8(state, MixedText()); }
BENCHMARK(BM_Utf8ToUtf16_Ascii)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Utf8ToUtf16_Mixed)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Utf16ToUtf8_Ascii)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Utf16ToUtf8_Mixed)->Unit(benchmark::kMillisecond);

void BM_UuidParse(benchmark::State& state) {
    const std::string text = "{0F8FAD5B-D9CB-469F-A165-70867728950E}";
    for (auto _ : state) benchmark::DoNotOptimize(lxbase::UUID(text));
}
void BM_UuidParseWide(benchmark::State& state) {
    const std::u16string text = u"0f8fad5b-d9cb-469f-a165-70867728950e";
    for (auto _ : state) benchmark::DoNotOptimize(lxbase::UUID(text));
}
void BM_UuidToString(benchmark::State& state) {
    const lxbase::UUID id("0f8fad5b-d9cb-469f-a165-70867728950e");
    for (auto _ : state) benchmark::DoNotOptimize(id.ToString());
}
void BM_UuidToWString(benchmark::State& state) {
    const lxbase::UUID id("0f8fad5b-d9cb-469f-a165-70867728950e");
    for (auto _ : state) benchmark::DoNotOptimize(id.ToWString());
}
void BM_UuidGenerate(benchmark::State& state) {
    for (auto _ : state) benchmark::DoNotOptimize(lxbase::UUID::Generate());
}
BENCHMARK(BM_UuidParse);
BENCHMARK(BM_UuidParseWide);
BENCHMARK(BM_UuidToString);
BENCHMARK(BM_UuidToWString);
BENCHMARK(BM_UuidGenerate);

void BM_StringToComponent_Name(benchmark::State& state) {
    const std::string text = "Segmentation";  // the last name of the walk before LastComponent
    for (auto _ : state) benchmark::DoNotOptimize(lxbase::StringToComponent(text));
}
void BM_StringToComponent_Bracketed(benchmark::State& state) {
    const std::string text = "UnkownComponent[25]";
    for (auto _ : state) benchmark::DoNotOptimize(lxbase::StringToComponent(text));
}
void BM_ComponentToString_Unnamed(benchmark::State& state) {
    for (auto _ : state) benchmark::DoNotOptimize(lxbase::ComponentToString(static_cast<lxbase::ComponentType>(25)));
}
BENCHMARK(BM_StringToComponent_Name);
BENCHMARK(BM_StringToComponent_Bracketed);
BENCHMARK(BM_ComponentToString_Unnamed);

void BM_DateParseIso(benchmark::State& state) {
    const std::u16string text = u"20240115T102030.250000";
    for (auto _ : state) benchmark::DoNotOptimize(lxbase::Date(text));
}
void BM_DateParseDelimited(benchmark::State& state) {
    const std::u16string text = u"2024-01-15 10:20:30";
    for (auto _ : state) benchmark::DoNotOptimize(lxbase::Date(text));
}
void BM_DateToLocalString(benchmark::State& state) {
    const lxbase::Date date(u"20240115T102030");
    for (auto _ : state) benchmark::DoNotOptimize(date.ToLocalString());
}
BENCHMARK(BM_DateParseIso);
BENCHMARK(BM_DateParseDelimited);
BENCHMARK(BM_DateToLocalString);

}  // namespace
