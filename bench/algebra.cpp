// The Algebra language against the same loops in Lua 5.4 and in hand-written C++.
#include <benchmark/benchmark.h>
#include <tessel/tessel.h>

#include <cmath>
#include <morv/host.hpp>
#include <string>
#include <vector>

#include "default_workspace.h"

extern "C" {
#include <lua5.4/lauxlib.h>
#include <lua5.4/lua.h>
#include <lua5.4/lualib.h>
}

namespace {

struct Data {
  std::vector<double> x, y, z;
  explicit Data(int n) : x(static_cast<std::size_t>(n)), y(x.size()), z(x.size()) {
    for (std::size_t t = 0; t < x.size(); ++t) {
      x[t] = 1.5 + std::sin(static_cast<double>(t));
      z[t] = std::cos(static_cast<double>(t));
    }
  }
};

// ---- Our side, through the exports

void Open(const Data &data, const std::string &code, bool formulation) {
  const int n = static_cast<int>(data.x.size());
  std::vector<double> cells;
  for (std::size_t t = 0; t < data.x.size(); ++t) cells.insert(cells.end(), {data.x[t], data.y[t], data.z[t]});
  const std::string names[] = {"x", "y", "z"};
  morv::Value starts, numbers;
  morv::Arguments args;
  args.Matrix(cells.data(), n, 3).Strings(names).Integer(1).Integer(1).Integer(1).Integer(0).Text(code);
  if (formulation) {
    args.Output(starts).Output(numbers);
  } else {
    args.Decline().Decline();
  }
  const morv::Outcome outcome = morv::Call("FnInitAlgebraNls", FnInitAlgebraNls, args);
  if (!outcome.Untouched()) std::abort();
}

bool Run(const std::vector<double> &parameters, int first, int last) {
  morv::Arguments args;
  args.Matrix(parameters.data(), static_cast<int>(parameters.size()), parameters.empty() ? 0 : 1);
  args.Integer(first).Integer(last);
  return morv::Call("FnRunAlgebraNls", FnRunAlgebraNls, args).Untouched();
}

void OurRun(benchmark::State &state, int n, const char *code) {
  Open(Data(n), code, false);
  for (auto _ : state) {
    if (!Run({}, 0, n - 1)) std::abort();
  }
  tessel::DefaultWorkspace().Close();
}

// ---- Lua: the body of a function of the tables x, y, z

struct Lua {
  lua_State *state = luaL_newstate();
  int function = LUA_NOREF;

  Lua(const Data &data, const std::string &body) {
    luaL_openlibs(state);
    const std::pair<const char *, const std::vector<double> *> columns[] = {
        {"x", &data.x}, {"y", &data.y}, {"z", &data.z}};
    for (const auto &[name, column] : columns) {
      lua_createtable(state, static_cast<int>(column->size()), 0);
      for (std::size_t t = 0; t < column->size(); ++t) {
        lua_pushnumber(state, (*column)[t]);
        lua_rawseti(state, -2, static_cast<lua_Integer>(t) + 1);
      }
      lua_setglobal(state, name);
    }
    const std::string chunk =
        "local x, y, z, log, exp = x, y, z, math.log, math.exp\nlocal n = #x\nreturn function(a, b, c, d, from, to)\n" +
        body + "\nend";
    if (luaL_dostring(state, chunk.c_str()) != LUA_OK) std::abort();
    function = luaL_ref(state, LUA_REGISTRYINDEX);
  }
  ~Lua() { lua_close(state); }

  void Call(std::initializer_list<double> numbers) {
    lua_rawgeti(state, LUA_REGISTRYINDEX, function);
    for (const double number : numbers) lua_pushnumber(state, number);
    if (lua_pcall(state, static_cast<int>(numbers.size()), 0, 0) != LUA_OK) std::abort();
  }
};

void LuaRun(benchmark::State &state, int n, const char *body) {
  Lua lua(Data(n), body);
  for (auto _ : state) lua.Call({});
}

// ---- y = log(x) - 0.5*lag(x,1) + 0.25*(z > 0)

void PlainLogLag(benchmark::State &state, int n) {
  Data d(n);
  for (auto _ : state) {
    d.y[0] = NAN;
    for (std::size_t t = 1; t < d.x.size(); ++t)
      d.y[t] = std::log(d.x[t]) - 0.5 * d.x[t - 1] + 0.25 * (d.z[t] > 0 ? 1.0 : 0.0);
    benchmark::DoNotOptimize(d.y.data());
  }
}

const bool logLagRegistered = [] {
  for (int n : {10, 100, 1000, 10000, 100000, 1000000}) {
    const std::string name = "algebra: log and lag/" + std::to_string(n) + "/";
    benchmark::RegisterBenchmark((name + "tessel").c_str(), OurRun, n, "y = log(x) - 0.5*lag(x,1) + 0.25*(z > 0);");
    benchmark::RegisterBenchmark(
        (name + "Lua 5.4").c_str(), LuaRun, n,
        "y[1] = 0/0 for t = 2, n do y[t] = log(x[t]) - 0.5*x[t-1] + (z[t] > 0 and 0.25 or 0.0) end");
    benchmark::RegisterBenchmark((name + "C++ loop").c_str(), PlainLogLag, n);
  }
  return true;
}();

// ---- y = 0.9*y[-1] + x

void PlainRecursion(benchmark::State &state) {
  Data d(1000000);
  for (auto _ : state) {
    for (std::size_t t = 1; t < d.x.size(); ++t) d.y[t] = 0.9 * d.y[t - 1] + d.x[t];
    benchmark::DoNotOptimize(d.y.data());
  }
}

// The first observation reads before the sample, so the recursion starts at the second.
void OurRecursion(benchmark::State &state) {
  const int n = 1000000;
  Open(Data(n), "y = 0.9*y[-1] + x;", false);
  for (auto _ : state) {
    if (!Run({}, 1, n - 1)) std::abort();
  }
  tessel::DefaultWorkspace().Close();
}

BENCHMARK(OurRecursion)->Name("algebra: recursion/1000000/tessel");
BENCHMARK_CAPTURE(LuaRun, _, 1000000, "for t = 2, n do y[t] = 0.9*y[t-1] + x[t] end")
    ->Name("algebra: recursion/1000000/Lua 5.4");
BENCHMARK(PlainRecursion)->Name("algebra: recursion/1000000/C++ loop");

// ---- What an optimiser repeats: a run with trial parameters, and the residuals back

constexpr const char *kModel = "&0 = 1; &1 = 1; &2 = 1; &3 = 1; resid = y - (&0 + &1*x + &2*exp(&3*z));";

void OurTrial(benchmark::State &state) {
  Open(Data(200), kModel, true);
  for (auto _ : state) {
    Run({0.5, 0.25, 0.125, 1.5}, 0, 199);
    morv::Arguments args;
    args.Text("resid").Integer(0).Integer(199).Decline();
    benchmark::DoNotOptimize(morv::Call("FnGetAlgebraVar", FnGetAlgebraVar, args).result.AsMatrix().cells);
  }
  tessel::DefaultWorkspace().Close();
}

void LuaTrial(benchmark::State &state) {
  Lua lua(Data(200), "local r = {} for t = 1, n do r[t] = y[t] - (a + b*x[t] + c*exp(d*z[t])) end return r");
  std::vector<double> residuals(200);
  for (auto _ : state) {
    lua_State *l = lua.state;
    lua_rawgeti(l, LUA_REGISTRYINDEX, lua.function);
    for (const double value : {0.5, 0.25, 0.125, 1.5}) lua_pushnumber(l, value);
    if (lua_pcall(l, 4, 1, 0) != LUA_OK) std::abort();
    for (int t = 0; t < 200; ++t) {
      lua_rawgeti(l, -1, t + 1);
      residuals[static_cast<std::size_t>(t)] = lua_tonumber(l, -1);
      lua_pop(l, 1);
    }
    lua_pop(l, 1);
    benchmark::DoNotOptimize(residuals.data());
  }
}

void PlainTrial(benchmark::State &state) {
  Data d(200);
  std::vector<double> residuals(200);
  double p[] = {0.5, 0.25, 0.125, 1.5};
  for (auto _ : state) {
    benchmark::DoNotOptimize(p);
    for (std::size_t t = 0; t < 200; ++t)
      residuals[t] = d.y[t] - (p[0] + p[1] * d.x[t] + p[2] * std::exp(p[3] * d.z[t]));
    benchmark::DoNotOptimize(residuals.data());
  }
}

BENCHMARK(OurTrial)->Name("algebra: trial of a model/200/tessel");
BENCHMARK(LuaTrial)->Name("algebra: trial of a model/200/Lua 5.4");
BENCHMARK(PlainTrial)->Name("algebra: trial of a model/200/C++ loop");

// ---- What a forecast repeats: runs over a single observation

void OurSteps(benchmark::State &state) {
  Open(Data(1200), "y = log(x) - 0.5*lag(x,1); z = exp(y) + y[-1];", false);
  for (auto _ : state)
    for (int t = 1; t <= 1000; ++t) benchmark::DoNotOptimize(tessel::DefaultWorkspace().Run(t, t));
  tessel::DefaultWorkspace().Close();
}

void LuaSteps(benchmark::State &state) {
  Lua lua(Data(1200), "local t = a y[t] = log(x[t]) - 0.5*x[t-1] z[t] = exp(y[t]) + y[t-1]");
  for (auto _ : state)
    for (int t = 2; t <= 1001; ++t) {
      lua_rawgeti(lua.state, LUA_REGISTRYINDEX, lua.function);
      lua_pushinteger(lua.state, t);
      if (lua_pcall(lua.state, 1, 0, 0) != LUA_OK) std::abort();
    }
}

BENCHMARK(OurSteps)->Name("algebra: runs over one observation/1000/tessel");
BENCHMARK(LuaSteps)->Name("algebra: runs over one observation/1000/Lua 5.4");

// ---- Compiling 5,000 statements

std::string Statements(const char *assign) {
  std::string text;
  for (int i = 0; i < 5000; ++i)
    text += "v" + std::to_string(i) + assign + "x*" + std::to_string(i) + ".5 - (y + 2.5)/(z + 3.5);\n";
  return text;
}

void OurCompile(benchmark::State &state) {
  const std::string text = Statements(" = ");
  const Data data(4);
  for (auto _ : state) {
    Open(data, text, false);
    tessel::DefaultWorkspace().Close();
  }
}

void LuaCompile(benchmark::State &state) {
  const std::string text = Statements(" = ");
  for (auto _ : state) {
    lua_State *l = luaL_newstate();
    if (luaL_loadstring(l, text.c_str()) != LUA_OK) std::abort();
    lua_close(l);
  }
}

BENCHMARK(OurCompile)->Name("algebra: compile statements/5000/tessel");
BENCHMARK(LuaCompile)->Name("algebra: compile statements/5000/Lua 5.4");

}  // namespace
