// The library used from 8 threads at once: every result must equal the one a
// single thread computes. Run under ThreadSanitizer by the `tsan` preset.
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "lxbase/lxbase.h"
#include "temp_dir.h"

using namespace lxbase;

namespace {

constexpr int kThreads = 8;
constexpr auto kDuration = std::chrono::milliseconds(1500);

struct Sample {
    std::vector<XYZf> normals;
    std::vector<std::uint16_t> codes;
    std::vector<XYZf> decoded;
    std::vector<std::string> componentNames;
    std::vector<ComponentType> componentValues;
    std::vector<std::u16string> dateTexts;
    std::vector<std::u16string> dateIso;
};

const char16_t* const kDates[] = {u"20240115T102030.250000", u"2024-01-15 10:20:30",
                                  u"not-a-date-time",         u"+infinity",
                                  u"1601-01-01 00:00:00",     u"99991231T235959"};

// Everything a worker computes, from a seed; the same seed gives the same work.
Sample Compute(unsigned seed) {
    Sample s;
    std::mt19937 rng(seed);
    std::normal_distribution<float> gauss;
    for (int i = 0; i < 2000; ++i) {
        XYZf n(gauss(rng), gauss(rng), gauss(rng));
        HNormalRGB packed(1, 2, 3, n);
        s.normals.push_back(n);
        s.codes.push_back(packed.GetNormalCode());
        s.decoded.push_back(packed.GetNormal());
    }
    for (int v = -3; v < 45; ++v) {
        const std::string name = ComponentToString(static_cast<ComponentType>(v));
        s.componentNames.push_back(name);
        s.componentValues.push_back(StringToComponent(name));
    }
    for (const char16_t* text : kDates) {
        s.dateTexts.push_back(text);
        s.dateIso.push_back(Date(std::u16string(text)).ToISOString());
    }
    return s;
}

bool SameFloats(const XYZf& a, const XYZf& b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

bool Equal(const Sample& a, const Sample& b) {
    if (a.codes != b.codes || a.componentNames != b.componentNames ||
        a.componentValues != b.componentValues || a.dateIso != b.dateIso)
        return false;
    for (std::size_t i = 0; i < a.decoded.size(); ++i)
        if (!SameFloats(a.decoded[i], b.decoded[i])) return false;
    return true;
}

struct ScratchHeader : IOHeader {
    std::uint64_t value = 0;
    std::uint64_t HeaderGUID() const override { return 0x5448524541445321ULL; }
    std::uint32_t CurrentVersion() const override { return 1; }
    std::uint32_t DataSizeForVersion(std::uint32_t) const override { return 8; }
    void ReadData(const char* d) override { std::memcpy(&value, d, 8); }
    void WriteData(char* d, std::uint32_t) const override { std::memcpy(d, &value, 8); }
};

// A header and payload through a memory stream and through a file of its own.
bool StreamsRoundTrip(int thread, std::uint64_t round, const TempDir& dir) {
    ScratchHeader h;
    h.value = round * 1000 + static_cast<std::uint64_t>(thread);
    OutMemoryStream out;
    h.Write(&out);
    const std::string payload(100 + thread, static_cast<char>('a' + thread));
    out.Write(payload.data(), payload.size());

    const std::string path = dir.Path("thread" + std::to_string(thread));
    {
        lxOutFile file(path, false);
        file.Write(out.GetBuffer(), out.BufferSize());
    }
    lxInFile file(path);
    ScratchHeader back;
    if (back.Read(&file) != 24 || back.value != h.value) return false;
    std::string read(payload.size(), '\0');
    file.Read(&read[0], read.size());
    if (file.GetLastCount() != payload.size() || read != payload) return false;

    InMemoryStream in(out.GetBuffer(), out.BufferSize());
    ScratchHeader mem;
    return mem.Read(&in) == 24 && mem.value == h.value;
}

}  // namespace

TEST(Concurrency, EightThreadsAgreeWithOneThread) {
    const TempDir dir;

    std::vector<Sample> expected;
    for (int t = 0; t < kThreads; ++t) expected.push_back(Compute(static_cast<unsigned>(t)));

    std::atomic<int> failures{0};
    std::vector<std::vector<std::string>> uuids(kThreads);
    std::vector<std::thread> threads;
    const auto deadline = std::chrono::steady_clock::now() + kDuration;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            std::uint64_t round = 0;
            do {
                if (!Equal(Compute(static_cast<unsigned>(t)), expected[t])) ++failures;
                if (!StreamsRoundTrip(t, round, dir)) ++failures;
                const std::string id = UUID::Generate().ToString();
                if (id[14] != '4' || std::string("89ab").find(id[19]) == std::string::npos) ++failures;
                uuids[t].push_back(id);
                ++round;
            } while (std::chrono::steady_clock::now() < deadline);
        });
    }
    for (auto& th : threads) th.join();
    EXPECT_EQ(failures.load(), 0);

    std::set<std::string> distinct;
    std::size_t total = 0;
    for (const auto& list : uuids) {
        total += list.size();
        distinct.insert(list.begin(), list.end());
    }
    EXPECT_EQ(distinct.size(), total);
}
