// Calls of all exports drawn from a string of bytes: each starts as a sound call, with sizes that fit together, and
// some are then made wild. The same bytes always give the same calls, and bytes that have run out read as 0, which
// draws the first choice and makes nothing wild.
#pragma once

#include <cstdint>
#include <limits>
#include <map>
#include <random>
#include <span>
#include <sstream>

#include "support/calls.h"

class Bytes {
 public:
  explicit Bytes(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}
  bool Empty() const { return bytes_.empty(); }
  // 0 to n - 1, n up to 65536.
  int Below(int n) {
    int value = Next();
    if (n > 256) value = 256 * value + Next();
    return value % n;
  }

 private:
  int Next() {
    if (bytes_.empty()) return 0;
    const int value = bytes_.front();
    bytes_ = bytes_.subspan(1);
    return value;
  }
  std::span<const std::uint8_t> bytes_;
};

// Bytes of a seed.
inline std::vector<std::uint8_t> RandomBytes(unsigned seed, std::size_t size) {
  std::mt19937 random(seed);
  std::vector<std::uint8_t> bytes(size);
  for (std::uint8_t &byte : bytes) byte = static_cast<std::uint8_t>(random());
  return bytes;
}

// A sound call of each export. Arguments: R, P, W, D, A, B a matrix of these rows and columns (R real, P positive, W
// whole numbers below a third number, D positive definite; A i / x and B i % x for cell i and a third number x; ?
// before it: may be 0 x 0), i an integer, d a number, s a program, v the name of a variable, a names, o an output, x
// declined. Sizes are sums of products of numbers and letters: T observations, k and n variables, u 1 or 2, p, q 0 to
// 2, m 0 or 1, c 0 to 8. Forecasts are of n variables by u lags of each and a constant; the workspace of
// FnInitAlgebraNls fits them.
struct SoundWords {
  std::string_view name, words;
};
inline constexpr SoundWords kSoundCalls[] = {
    {"FnActFitTable", "W:T,m*n-m+1,n R:T,n"},
    {"FnBinProbitJD", "R:k,1 W:T,1,2 R:T,k ?P:T,1 o o o o o"},
    {"FnComfac", "A:1,n*u+n+u+1,u+1 B:1,n*u+n+u+1,u+1 W:1,n*u+n+u+1,1 R:1,n*u+n+u D:n*u+n+u,n*u+n+u d:1 i:0 o o"},
    {"FnCountJD", "P:k+m,1 W:T,1,4 R:T,k i:m i:6*p i:c d:q o o o o o"},
    {"FnDeSeasonalize", "R:T,k i:2+c"},
    {"FnDynForc",
     "R:n,12 R:n*u+1,12 i:u+2 i:9+q i:0 i:0 i:2 B:1,n+n*u+1,n A:1,1+n*u+n,n+n*u A:1,n+n*u+1,n P:n,n*u+1 D:n,n "
     "?D:n*n*u+n,n*n*u+n x i:0 i:p o i:m i:u+1"},
    {"FnEgarchVar", "R:T,1 R:T,1 d:-0.1 d:0.2 d:0.8 P:1,p P:1,q i:c d:0.1 o o"},
    {"FnEncompassing", "R:u+p+3,T+9 i:u i:p+1 i:2 R:u+p+3,T+9 i:u i:p+1 i:2 o o o"},
    {"FnExitAlgebraNls", ""},
    {"FnFilterMS", "P:T,n P:n,n P:1,n o o"},
    {"FnFracSigma", "P:1,1+p+q i:p i:q d:1 i:T o"},
    {"FnGLScovariance", "R:T,k R:T,n i:m"},
    {"FnGarchVar", "R:T,1 P:T,1 P:1,1+p+p+q i:p i:q i:c d:0.1 d:0.05 d:0.1 o o"},
    {"FnGetAlgebraAddedData", "o o"},
    {"FnGetAlgebraName", "i:c"},
    {"FnGetAlgebraVar", "v i:c i:c+p ?W:1,12,2"},
    {"FnImpulse",
     "R:n,12 R:n*u+1,12 i:u+2 i:9+q i:m i:0 i:2 B:1,n+n*u+1,n A:1,1+n*u+n,n+n*u A:1,n+n*u+1,n P:n,n*u+1 D:n,n "
     "D:n,n R:1,n i:0 i:q"},
    {"FnInitAlgebraNls", "R:12,3 a i:2000 i:1 i:T i:m s x x"},
    {"FnInstabilityTest", "R:T,k R:T,1 d:T o"},
    {"FnJackknifeHCSE", "R:T,k R:T,1 D:k,k"},
    {"FnKroneckerSel", "R:n,k R:k,n ?W:1,c,n*k ?W:c,1,n*k"},
    {"FnLogitJD", "R:n*k+p,1 W:T,m*n+1,n+1 i:n+1 R:T,k R:T,n*p+p ?P:T,1 ?R:T,n+1 o o o o o"},
    {"FnLogitProbDeriv", "R:n*k+p,1 P:1,n+1 i:k i:n+1 i:n*p+p"},
    {"FnRalsForecast", "P:1,k+p R:T,1 R:T,k i:u i:u+p-1 i:q D:k+p,k+p o o"},
    {"FnRalsFunc", "P:1,k+p R:T,1 R:T,k i:u i:u+p-1 o o o"},
    {"FnRivEst", "R:k+n+2,k+T i:u i:k+1 i:n i:m i:k+T-1 i:k+n+3 o o o o o o"},
    {"FnRlsEst", "R:k+T,n R:k+T,k i:m i:k+T-1 i:k+c o o o o o o o"},
    {"FnRunAlgebraNls", "R:m+m,1 i:p i:6+u"},
    {"FnSeasonalRsq", "R:T+9,1 i:2+u d:0.5 o"},
    {"FnSmoothMS", "P:T,n P:n,n o o"},
};
static_assert(std::ranges::equal(kSoundCalls, tessel::kExports, {}, &SoundWords::name, &tessel::Export::name));

// The sizes and cells of one call.
struct Draw {
  Bytes &bytes;
  std::minstd_rand random{static_cast<unsigned>(bytes.Below(256)) + 1};
  std::map<char, int> sizes = {
      {'T', bytes.Below(20) == 19 ? 50 + bytes.Below(100) : 6 + bytes.Below(30)},
      {'k', bytes.Below(20) == 19 ? 36 : 1 + bytes.Below(4)},
      {'n', 1 + bytes.Below(3)},
      {'u', 1 + bytes.Below(2)},
      {'p', bytes.Below(3)},
      {'q', bytes.Below(3)},
      {'m', bytes.Below(2)},
      {'c', bytes.Below(9)},
  };

  int Below(int limit) { return bytes.Below(limit); }

  // A sum of products.
  int Size(const std::string &text) const {
    int sum = 0, product = 1;
    for (std::size_t i = 0; i < text.size(); ++i) {
      const char c = text[i];
      if (c == '+' || c == '-') {
        sum += product;
        product = c == '-' ? -1 : 1;
      } else if (c >= '0' && c <= '9') {
        std::size_t digits = 0;
        product *= std::stoi(text.substr(i), &digits);
        i += digits - 1;
      } else if (c != '*') {
        product *= sizes.at(c);
      }
    }
    return sum + product;
  }

  double Cell(char kind, int i, int columns, int third) {
    const double draw = std::uniform_real_distribution<double>(0, 1)(random);
    switch (kind) {
      case 'P': return 0.1 + 0.3 * draw;
      case 'W': return std::floor(draw * third);
      case 'D': return 0.2 * (i / columns == i % columns) + 0.06 / (1 + i / columns + i % columns);
      case 'A': return i / third;
      case 'B': return i % third;
      default: return 2 * draw - 1;
    }
  }

  Argument Make(const std::string &word) {
    const char kind = word[0];
    const std::string rest = word.size() > 2 ? word.substr(2) : "";
    if (kind == '?') return Below(3) == 0 ? Mat(0, 0, {}) : Make(word.substr(1));
    if (kind == 'i') return Int(Size(rest));
    if (kind == 'd') return Double(rest.find('.') == std::string::npos ? Size(rest) : std::stod(rest));
    if (kind == 's') return Program(false);
    if (kind == 'v') return Text(std::string(1, "saebr"[Below(5)]));
    if (kind == 'a') return Texts({"a", "b", "c"});
    if (kind == 'o' || kind == 'x') return kind == 'o' ? Out() : Declined();
    std::istringstream numbers(rest);
    std::vector<int> sizes3;
    for (std::string number; std::getline(numbers, number, ',');) sizes3.push_back(Size(number));
    Argument matrix = Mat(sizes3[0], sizes3[1], {});
    for (int i = 0; i < sizes3[0] * sizes3[1]; ++i)
      matrix.matrix.values.push_back(Cell(kind, i, sizes3[1], sizes3.back()));
    return matrix;
  }

  // A text of the language: a whole program, or pieces and any bytes.
  Argument Program(bool wild) {
    static const std::vector<std::string> programs = {
        "s = a + lag(b, 1); t = s > 0 ? log(s) : s * b;",
        "r = r[-1] == MISSING ? a : r[-1] + a; ewma(a, 0.5, 0.5, w); q = movingavg(a, 2, 1) + mean(b, 0, 3);",
        "r = ranu() + rann(); m = max(a, b) + cum(a) + stock(b, 0.1, 1); v = period() + season(1) + trend();",
        "&1 = 0.5; &3 = 2; e = a - &1 - &3 * b[-1];"};
    static const std::vector<std::string> pieces = {
        "a",        "b",     " = ",    ";",   "(",       ")",     ",",       "[-1]", "1e300",  "MISSING",
        "-1",       " ? ",   " : ",    "&1",  " && ",    "/*",    "*/",      "\"",   "{",      "}",
        "0/0",      "lag(",  "cum(",   "acf", "_sort",   "dates", "smooth_", "[a]",  "1e9",    "lead(",
        "2000-1-1", "ewma(", "ranu()", "var", "delete(", "quant", " = a; ",  "1e-9", "stock(", "NAN"};
    if (!wild) return Text(programs[static_cast<std::size_t>(Below(4))]);
    std::string text;
    for (int left = Below(40); left > 0; --left) {
      const auto choice = static_cast<std::size_t>(Below(64));
      text += choice < 40   ? pieces[choice]
              : choice < 50 ? programs[choice % 4]
                            : std::string(1, static_cast<char>(Below(256)));
    }
    return Text(text);
  }
};

inline std::vector<Argument> SoundCall(const std::string &name, Draw &d) {
  std::vector<Argument> call;
  const auto *const sound = std::ranges::find(kSoundCalls, name, &SoundWords::name);
  std::istringstream words{std::string(sound->words)};
  for (std::string word; words >> word;) call.push_back(d.Make(word));
  if (name == "FnEncompassing") {  // the dependent variable and the last instrument are common
    const std::vector<double> &first = call[0].matrix.values;
    std::vector<double> &second = call[4].matrix.values;
    std::copy_n(first.begin(), call[0].matrix.columns, second.begin());
    std::copy_n(first.end() - call[0].matrix.columns, call[0].matrix.columns, second.end() - call[0].matrix.columns);
  }
  if (name == "FnInitAlgebraNls" && call[6].texts[0][0] == '&') call[7] = call[8] = Out();
  return call;
}

// Another size: the cells that there are, over and over.
inline void Resize(Cells &matrix, int rows, int columns) {
  constexpr int most = 1024;
  const std::vector<double> old = std::move(matrix.values);
  matrix = {std::min(rows, most), std::min(columns, most), {}};
  for (int i = 0; i < matrix.rows * matrix.columns; ++i)
    matrix.values.push_back(old.empty() ? 0.5 : old[static_cast<std::size_t>(i) % old.size()]);
}

inline int WildInteger(Draw &d) {
  constexpr int lowest = std::numeric_limits<int>::min(), highest = std::numeric_limits<int>::max();
  constexpr int integers[] = {-1, 0, 1, lowest, lowest + 1, highest, highest - 1, 1 << 30, 46341, 65536, 2000};
  return d.Below(2) ? d.Below(50) - 1 : integers[d.Below(11)];
}

inline double WildNumber(Draw &d) {
  constexpr double inf = std::numeric_limits<double>::infinity(), nan = std::numeric_limits<double>::quiet_NaN();
  constexpr double numbers[] = {nan,    inf,          -inf,          0,    -0.0, 1e300,
                                -1e300, 1e-300,       5e-324,        -nan, 1e10, -1,
                                0.5,    2147483648.0, -2147483649.0, 1,    1e9,  1.7976931348623157e308};
  return numbers[d.Below(18)];
}

// Makes one argument wild.
inline void Disturb(std::vector<Argument> &call, Draw &d) {
  if (call.empty()) return;
  const auto position = static_cast<std::size_t>(d.Below(static_cast<int>(call.size())));
  Argument &a = call[position];
  const int choice = d.Below(24);
  if (choice == 23) return call.resize(position);  // too few arguments
  if (choice > 20) a = {"idmsaox"[d.Below(7)], WildInteger(d), WildNumber(d), a.matrix, {"a", "b"}};
  Cells &m = a.matrix;
  switch (a.kind) {
    case 'i': a.integer = choice < 4 ? a.integer ^ 1 : WildInteger(d); break;
    case 'd': a.number = WildNumber(d); break;
    case 's': a = d.Program(true); break;
    case 'a': {
      a.integer = d.Below(4) - 1;
      const int count = d.Below(6);
      a.texts.resize(static_cast<std::size_t>(count), d.Program(true).texts[0]);
      break;
    }
    case 'o': a.kind = 'x'; break;
    case 'm':
      if (choice < 3)
        Resize(m, m.columns, m.rows);
      else if (choice < 5)
        Resize(m, d.Below(12), m.columns);
      else if (choice < 7)
        Resize(m, m.rows, d.Below(12));
      else if (choice == 7) {
        const int rows = 1 + d.Below(1024);
        Resize(m, rows, d.Below(3));
      } else if (choice == 8)
        m = {0, WildInteger(d) & std::numeric_limits<int>::max(), {}};
      else if (choice == 9)
        a.same = d.Below(static_cast<int>(position) + 1);
      else if (choice == 10)
        std::fill(m.values.begin(), m.values.end(), WildNumber(d));
      else
        for (int i = d.Below(5); i >= 0 && !m.values.empty(); --i)
          m.values[static_cast<std::size_t>(d.Below(65536)) % m.values.size()] = WildNumber(d);
      break;
    default: break;
  }
}

// A sequence of calls, most often over an open workspace and closed at the end.
inline std::vector<ExportCall> DrawCalls(std::span<const std::uint8_t> text) {
  Bytes bytes(text);
  std::vector<ExportCall> calls;
  const auto add = [&](const std::string &name, int disturbances) {
    Draw draw{bytes};
    calls.push_back({name, SoundCall(name, draw)});
    std::vector<Argument> &arguments = calls.back().arguments;
    for (int i = 0; i < disturbances; ++i) Disturb(arguments, draw);
    // A truncated model sums over the counts up to this argument for each observation.
    if (name == "FnCountJD" && arguments.size() > 4) arguments[4].integer = std::min(arguments[4].integer, 65536);
  };
  if (bytes.Below(4) != 3) add("FnInitAlgebraNls", 0);
  while (!bytes.Empty() && calls.size() < 16) {
    const std::string name(kSoundCalls[bytes.Below(static_cast<int>(std::size(kSoundCalls)))].name);
    const int wild = bytes.Below(8);
    add(name, wild < 3 ? 0 : std::max(wild - 4, 1));
  }
  add("FnExitAlgebraNls", 0);
  return calls;
}

// Runs a call twice. Whatever the arguments, matrices that it was given are as they were (but that of the one argument
// that is documented to change), and all exports without a state give the same bits again. What is wrong, or nothing.
inline std::string FaultOf(const ExportCall &call, MorvFunction function) {
  const CaseRun first(call.arguments, call.name, function);
  for (std::size_t i = 0; i < call.arguments.size(); ++i)
    if (!SameBits(first.arguments[i].matrix.values, call.arguments[i].matrix.values) && call.name != "FnLogitJD")
      return "argument " + std::to_string(i + 1) + " has changed";
  if (call.name == "FnDynForc" || call.name.find("Algebra") != std::string::npos) return "";
  const CaseRun second(call.arguments, call.name, function);
  for (int i = -1; i < static_cast<int>(call.arguments.size()); ++i)
    if (!SameValue(first.ValueAt(i), second.ValueAt(i)))
      return "result " + std::to_string(i) + " is another when repeated";
  return "";
}
