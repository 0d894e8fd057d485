// Every export with its 1st, 2nd, 3rd, ... allocation failing, the library's own and the runtime's.
#include "support/failing_allocation.h"

#include <limits>
#include <new>
#include <set>

#include "support/exports.h"
#include "support/random_calls.h"

namespace {

std::vector<double> CellsOf(const morv::Value &value) {
  if (value.Tag() == MORV_INTEGER || value.Tag() == MORV_DOUBLE) return {value.AsDouble()};
  return value.Tag() == MORV_MATRIX ? value.Numbers() : std::vector<double>{};
}

bool Empty(double cell) { return std::isnan(cell) || cell == 0; }

// Whether a result says that memory failed: as it was on entry, a text or an empty matrix; 0, a missing value or a
// matrix of them; or the status of its export.
bool Tells(const std::string &name, const morv::Value &result) {
  const std::map<std::string, double> statuses = {
      {"FnComfac", -1}, {"FnEncompassing", 5}, {"FnFracSigma", 10}, {"FnInstabilityTest", -1}};
  if (result.Tag() == MORV_INTEGER && result.AsInteger() == std::numeric_limits<int>::min()) return true;
  const std::vector<double> cells = CellsOf(result);
  const auto own = statuses.find(name);
  return own != statuses.end() ? cells.at(0) == own->second : std::ranges::all_of(cells, Empty);
}

// An output under a sound result: the full one, or nothing, or cells of which those that were reached are right.
bool IsPartOf(const morv::Value &output, const morv::Value &full) {
  if (SameValue(output, full) || (output.Tag() == MORV_INTEGER && output.AsInteger() == -77)) return true;
  const std::vector<double> cells = CellsOf(output), fullCells = CellsOf(full);
  for (std::size_t i = 0; i < cells.size() && cells.size() == fullCells.size(); ++i)
    if (!Empty(cells[i]) && cells[i] != fullCells[i]) return false;
  return cells.empty() || cells.size() == fullCells.size();
}

TEST(FailingAllocation, EveryExportTellsOrGivesTheFullResult) {
  std::set<std::string> succeeded;
  testing::internal::CaptureStdout();
  const auto exit = [] { Call("FnExitAlgebraNls", {}); };
  for (const SoundWords &sound : kSoundCalls)
    for (unsigned seed = 1; seed <= 8; ++seed) {
      const std::string name(sound.name);
      SCOPED_TRACE(name + " " + std::to_string(seed));
      Bytes none({});
      Draw first{none};
      if (name != "FnInitAlgebraNls") Call("FnInitAlgebraNls", SoundCall("FnInitAlgebraNls", first));
      const std::vector<std::uint8_t> text = RandomBytes(seed, 64);
      Bytes bytes(text);
      Draw draw{bytes};
      const std::vector<Argument> arguments = SoundCall(name, draw);
      Call(name, arguments);  // leaves the workspace as every further call does
      const CaseRun full = Call(name, arguments);
      if (full.Computed()) succeeded.insert(name);
      if (name == "FnInitAlgebraNls") exit();
      ForEachFailingAllocation(
          [&](bool failing) {
            try {
              const CaseRun run = Call(name, arguments);
              if (run.outcome.Failed() || !SameValue(run.outcome.result, full.outcome.result)) {
                EXPECT_TRUE(failing && Tells(name, run.outcome.result));
                return;
              }
              for (std::size_t i = 0; i < arguments.size(); ++i)
                EXPECT_TRUE(failing ? IsPartOf(run.outputs[i], full.outputs[i])
                                    : SameValue(run.outputs[i], full.outputs[i]))
                    << i;
            } catch (const std::bad_alloc &) {  // in building the arguments
              EXPECT_TRUE(failing);
            }
          },
          [&] {
            if (name == "FnInitAlgebraNls") exit();
          });
      exit();
    }
  const std::string said = testing::internal::GetCapturedStdout();
  if (HasFailure()) std::cout << said;
  EXPECT_EQ(succeeded.size(), tessel::kExports.size()) << "a sound call of each export succeeds";
}

}  // namespace
