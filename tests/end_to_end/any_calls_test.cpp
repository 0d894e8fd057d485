// All exports with arguments of every kind, with memory short, and over and over.
#include <sys/resource.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <new>

#include "library.h"
#include "support/random_calls.h"

namespace {

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kSanitizer = true;
extern "C" MORV_API const char *__asan_default_options() { return "max_allocation_size_mb=512"; }
#else
constexpr bool kSanitizer = false;
#endif

// In a process of its own: `body` with at most 1 GB of memory (the sanitizers have a limit of theirs), and without
// messages. `body` gives what is wrong, or nothing.
[[noreturn]] void RunWithLittleMemory(std::string (*body)()) {
  constexpr rlimit limit = {1 << 30, 1 << 30};
  if (!kSanitizer) setrlimit(RLIMIT_AS, &limit);
  const bool silent = std::freopen("/dev/null", "w", stdout) != nullptr;
  const std::string fault = body();
  std::cerr << fault;
  std::_Exit(silent && fault.empty() ? 0 : 1);
}

void ExpectWithLittleMemory(std::string (*body)()) {
  TesselLibrary();
  EXPECT_EXIT(RunWithLittleMemory(body), testing::ExitedWithCode(0), "");
}

TEST(AnyCalls, StayInsideTheirMemoryAndGiveTheSameBitsAgain) {
  ExpectWithLittleMemory([]() -> std::string {
    for (unsigned seed = 1; seed <= 800; ++seed)
      for (const ExportCall &call : DrawCalls(RandomBytes(seed, 400))) {
        try {
          const std::string fault = FaultOf(call, TesselLibrary().Find(call.name));
          if (!fault.empty()) return call.name + " of seed " + std::to_string(seed) + ": " + fault;
        } catch (const std::bad_alloc &) {  // in building the arguments
        }
        if (morv::LiveBlocks() != 0) return call.name + " of seed " + std::to_string(seed) + " keeps memory";
      }
    return "";
  });
}

// Sizes beyond all memory end a call as its table tells; where the runtime had none for an output, it says so.
TEST(AnyCalls, SizesBeyondAllMemoryEndACallCleanly) {
  struct Huge {
    const char *name;
    std::size_t position;
    morv::Outcome::Status status;
    double result;  // with an untouched one the end of the range of integers, as on entry
  };
  ExpectWithLittleMemory([]() -> std::string {
    using enum morv::Outcome::Status;
    constexpr double entry = std::numeric_limits<int>::min();
    constexpr Huge calls[] = {{"FnCountJD", 5, OutOfMemory, NAN},
                              {"FnFracSigma", 4, OutOfMemory, 10},
                              {"FnLogitProbDeriv", 3, Untouched, entry},
                              {"FnLogitJD", 2, Returned, NAN},
                              {"FnSeasonalRsq", 1, OutOfMemory, entry},
                              {"FnRlsEst", 3, Untouched, entry},
                              {"FnRivEst", 5, Untouched, entry},
                              {"FnRalsForecast", 5, Untouched, entry},
                              {"FnGarchVar", 3, Returned, 0}};
    for (const Huge &huge : calls) {
      Bytes bytes({});
      Draw draw{bytes};
      std::vector<Argument> arguments = SoundCall(huge.name, draw);
      arguments[huge.position].integer = std::numeric_limits<int>::max();
      const CaseRun run(arguments, huge.name, TesselLibrary().Find(huge.name));
      if (run.outcome.status != huge.status || !SameBits({run.At(-1)}, {huge.result})) return huge.name;
    }
    return "";
  });
}

// The process's resident memory.
long ResidentKilobytes() {
  std::ifstream status("/proc/self/statm");
  long total = 0, resident = 0;
  status >> total >> resident;
  return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

// TESSEL_SOAK rounds, each of a workspace that is opened, run, read and closed, and of one call of another export.
TEST(AnyCalls, MemoryStaysConstant) {
  const char *const wanted = std::getenv("TESSEL_SOAK");
  const int rounds = wanted != nullptr ? std::atoi(wanted) : 2000;
  const auto call = [](const std::string &name, unsigned seed) {
    const std::vector<std::uint8_t> text = RandomBytes(seed, 40);
    Bytes bytes(text);
    Draw draw{bytes};
    CaseRun(SoundCall(name, draw), name, TesselLibrary().Find(name));
  };
  long before = 0;
  for (int round = 0; round < rounds; ++round) {
    if (round == rounds / 2) before = ResidentKilobytes();
    const auto seed = static_cast<unsigned>(round % 500);
    call(std::string(kSoundCalls[static_cast<std::size_t>(round) % std::size(kSoundCalls)].name), seed);
    for (const char *name : {"FnExitAlgebraNls", "FnInitAlgebraNls", "FnRunAlgebraNls", "FnGetAlgebraVar",
                             "FnGetAlgebraAddedData", "FnExitAlgebraNls"})
      call(name, seed);
  }
  const long after = ResidentKilobytes();
  RecordProperty("before", std::to_string(before));
  RecordProperty("after", std::to_string(after));
  std::cout << rounds << " rounds: " << before << " kB half way, " << after << " kB at the end\n";
  EXPECT_EQ(morv::LiveBlocks(), 0);
  EXPECT_TRUE(kSanitizer || after - before < 1024);
}

}  // namespace
