// Two Algebra workspaces, each in a thread of its own: the same program simulates a random walk with two seeds.
#include <algebra/workspace.h>

#include <cstdio>
#include <thread>

namespace {

constexpr int kObservations = 100000;

struct Walk {
  int seed;
  bool succeeded = false;
  double last = 0.0, highest = 0.0;
};

// Everything that this function makes is its own: data, program, parameters, random numbers and messages.
void Simulate(Walk &walk) {
  const tessel::MessageSink toStandardError = {
      [](void *, tessel::MessageKind, const char *text) { std::fprintf(stderr, "%s\n", text); }, nullptr};
  tessel::AlgebraWorkspace workspace(toStandardError);
  constexpr const char *program =
      "&1 = 0.01; walk = insample(1, 1, 1, 1) ? 0 : walk[-1] + &1 + rann(); highest = peak(walk);";

  const tessel::SampleSpec start = {1, 1, 0, 0, 1};  // from year 1, period 1, one period a year
  if (tessel::Failed(workspace.Open(start, kObservations, 0))) return;
  if (tessel::Failed(workspace.Compile(program))) return;
  tessel::RanSetSeed(workspace.RandomNumbers(), {&walk.seed, 1});
  if (tessel::Failed(workspace.Run(0, kObservations - 1))) return;
  walk.last = workspace.Variable(workspace.Find("walk"))[kObservations - 1];
  walk.highest = workspace.Variable(workspace.Find("highest"))[kObservations - 1];
  walk.succeeded = true;
}

}  // namespace

int main() {
  Walk walks[] = {{.seed = 1}, {.seed = 2}};
  std::thread other(Simulate, std::ref(walks[1]));
  Simulate(walks[0]);
  other.join();
  for (const Walk &walk : walks) {
    if (!walk.succeeded) return 1;
    std::printf("seed %d: ends at %.3f, highest at %.3f\n", walk.seed, walk.last, walk.highest);
  }
  return 0;
}
