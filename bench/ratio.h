// A subject measured against its peer in the same run: both run interleaved in blocks of 100, so
// that they see the same machine state, and the benchmark reports their mean times and the ratio
// subject / peer.
#pragma once

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdint>

namespace KvdBench {

template <class Subject, class Peer>
void measureRatio(benchmark::State& state, Subject subject, Peer peer) {
  using Clock = std::chrono::steady_clock;
  double subjectNs = 0, peerNs = 0;
  int64_t blocks = 0;
  for (auto _ : state) {
    auto t0 = Clock::now();
    for (int i = 0; i < 100; ++i) benchmark::DoNotOptimize(subject());
    auto t1 = Clock::now();
    for (int i = 0; i < 100; ++i) benchmark::DoNotOptimize(peer());
    auto t2 = Clock::now();
    subjectNs += std::chrono::duration<double, std::nano>(t1 - t0).count() / 100;
    peerNs += std::chrono::duration<double, std::nano>(t2 - t1).count() / 100;
    ++blocks;
  }
  state.counters["subject_ns"] = subjectNs / double(blocks);
  state.counters["peer_ns"] = peerNs / double(blocks);
  state.counters["ratio"] = subjectNs / peerNs;
}

}  // namespace KvdBench
