// Every export without a workspace, from eight threads at once: the bits of a run alone, and no data race (the tsan
// preset). TESSEL_SECONDS makes it go on that long.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <new>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "core/heap.h"
#include "support/exports.h"
#include "support/random_calls.h"

namespace {

constexpr int kThreads = 8;

// A sound call of each export that has no state: the workspace's own are left out, and forecasts have no identities.
std::vector<ExportCall> StatelessCalls(unsigned seed) {
  std::vector<ExportCall> calls;
  const std::vector<std::uint8_t> text = RandomBytes(seed, 2000);
  Bytes bytes(text);
  for (const SoundWords &sound : kSoundCalls) {
    const std::string name(sound.name);
    if (name.find("Algebra") != std::string::npos) continue;
    Draw draw{bytes};
    calls.push_back({name, SoundCall(name, draw)});
    if (name == "FnDynForc") calls.back().arguments[17] = Int(0);
  }
  return calls;
}

// The same call with an early allocation failing, which is the calling thread's own affair.
void CallWithoutMemory(const ExportCall &call, int n) {
  try {
    tessel::HeapFailAt(n);
    morv::FailAllocationAt(n);
    const CaseRun run = Call(call);
  } catch (const std::bad_alloc &) {  // in building the arguments
  }
  tessel::HeapFailAt(0);
  morv::FailAllocationAt(0);
}

// Makes all calls, from the one with number `first` on; every other thread has each fail once before.
void MakeCalls(const std::vector<ExportCall> &calls, std::size_t first, bool failing,
               std::vector<std::optional<CaseRun>> &runs) {
  runs.resize(calls.size());
  for (std::size_t i = 0; i < calls.size(); ++i) {
    const std::size_t number = (first + i) % calls.size();
    const ExportCall &call = calls[number];
    if (failing) CallWithoutMemory(call, static_cast<int>(1 + i % 5));
    runs[number].emplace(call.arguments, call.name, FunctionOf(call.name));
  }
}

TEST(Threads, ExportsGiveTheBitsOfASerialRun) {
  const char *const wanted = std::getenv("TESSEL_SECONDS");
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(wanted != nullptr ? std::atoi(wanted) : 0);
  const auto libraryBlocks = tessel::HeapLiveBlocks();
  const long runtimeBlocks = morv::LiveBlocks();
  int rounds = 0;
  do {
    const std::vector<ExportCall> calls = StatelessCalls(static_cast<unsigned>(++rounds));
    // The threads come first: what is set when it is first reached is then set by all of them at once.
    std::vector<std::vector<std::optional<CaseRun>>> runs(kThreads);
    std::vector<std::thread> threads;
    for (std::size_t k = 0; k < kThreads; ++k)
      threads.emplace_back(MakeCalls, std::cref(calls), k * calls.size() / kThreads, k % 2 != 0, std::ref(runs[k]));
    for (std::thread &thread : threads) thread.join();
    for (std::size_t number = 0; number < calls.size(); ++number) {
      const ExportCall &call = calls[number];
      const CaseRun alone = Call(call);
      for (std::size_t k = 0; k < kThreads; ++k)
        for (int i = -1; i < static_cast<int>(call.arguments.size()); ++i)
          EXPECT_TRUE(SameValue(runs[k][number]->ValueAt(i), alone.ValueAt(i)))
              << call.name << " of round " << rounds << ", thread " << k << ", result " << i;
    }
  } while (rounds < 20 || std::chrono::steady_clock::now() < end);
  RecordProperty("rounds", rounds);
  EXPECT_EQ(tessel::HeapLiveBlocks(), libraryBlocks);
  EXPECT_EQ(morv::LiveBlocks(), runtimeBlocks);
}

}  // namespace
