// The 30 exports as data: what each takes, and how a caller sees that it computed something.
//
// The table serves all who handle calls without knowing one export from another: the command, the tests, random calls.
// It holds no pointer to an export, so a program that reaches the exports through the runtime may include it without
// linking them. tessel.h tells what arguments and results mean; tests hold tessel.h, the reference pages and the
// exports themselves against this table.
#pragma once

#include <morv/morv.h>

#include <array>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <string_view>

namespace tessel {

enum class ArgumentKind : unsigned char {
  Matrix,
  OptionalMatrix,  // anything else stands for none
  Integer,
  Number,
  Text,
  Texts,           // an array of texts
  Output,          // becomes a matrix
  OptionalOutput,  // declined by anything that is no output; FnInitAlgebraNls takes both of its own or none
  IntegerOutput,
  TextsOutput
};

// What rtn holds when the export computed what it is for. Any other end is a failure.
enum class Success : unsigned char {
  Always,       // nothing can fail
  Untouched,    // rtn as it was on entry; a text tells what failed
  Matrix,       // a matrix, which may be empty
  Cells,        // a matrix that is not empty
  Number,       // a number that is not missing
  NotMinusOne,  // the same, and not -1
  Zero,         // the integer 0; any other is a status
  One,          // the integer 1
  Text,         // a text that is not empty
  OutputRows    // rtn plays no part: the first output has rows
};

struct ExportArgument {
  std::string_view name;  // short, for messages; empty for an argument that has no effect
  ArgumentKind kind;
};

struct Export {
  static constexpr int kMostArguments = 19;

  std::string_view name;
  Success success = Success::Always;
  int count = 0;  // of arguments
  std::array<ExportArgument, kMostArguments> argument = {};

  constexpr std::span<const ExportArgument> Arguments() const {
    return std::span(argument).first(static_cast<std::size_t>(count));
  }
};

namespace detail {

// Neighbouring arguments of one kind, their names between commas.
struct ArgumentRun {
  ArgumentKind kind;
  std::string_view names;
};

constexpr Export Row(std::string_view name, Success success, std::initializer_list<ArgumentRun> runs) {
  Export row = {name, success};
  for (ArgumentRun run : runs)
    for (bool more = true; more;) {
      const std::size_t comma = run.names.find(',');
      row.argument.at(static_cast<std::size_t>(row.count++)) = {run.names.substr(0, comma), run.kind};
      more = comma != std::string_view::npos;
      run.names.remove_prefix(more ? comma + 1 : run.names.size());
    }
  return row;
}

constexpr auto AllExports() {
  using enum ArgumentKind;
  return std::to_array<Export>({
      Row("FnActFitTable", Success::Matrix, {{Matrix, "Y,P"}}),
      Row("FnBinProbitJD", Success::Number,
          {{Matrix, "theta,Y,X,w"}, {OptionalOutput, "score,information,probabilities,log-likelihoods,outer product"}}),
      Row("FnComfac", Success::Zero,
          {{Matrix, "identity,lag,exclusion,b,cov"},
           {Number, "scale"},
           {Integer, "dependent"},
           {Output, "statistics,degrees"}}),
      Row("FnCountJD", Success::Number,
          {{Matrix, "theta,Y,X"},
           {Integer, "model,L,cells"},
           {Number, "P"},
           {OptionalOutput, "score,information,frequencies,log-likelihoods,outer product"}}),
      Row("FnDeSeasonalize", Success::Cells, {{Matrix, "x"}, {Integer, "p"}}),
      Row("FnDynForc", Success::Cells,
          {{Matrix, "y,x"},
           {Integer, "t1,t2,,first kind,second kind"},
           {Matrix, "identities,kinds,lags,Pi,Omega"},
           {OptionalMatrix, "V,Q"},
           {Integer, "nQ,h"},
           {OptionalOutput, "errors"},
           {Integer, "with identities,before"}}),
      Row("FnEgarchVar", Success::One,
          {{Matrix, "y,c"},
           {Number, "theta2,theta1,m"},
           {Matrix, "a,b"},
           {Integer, "kind"},
           {Number, "delta"},
           {Output, "l,e"}}),
      Row("FnEncompassing", Success::Zero,
          {{Matrix, "model1"},
           {Integer, "nY,nX,nZ"},
           {Matrix, "model2"},
           {Integer, "nY,nX,nZ"},
           {Output, "statistics,index"},
           {IntegerOutput, "m"}}),
      Row("FnExitAlgebraNls", Success::Always, {}),
      Row("FnFilterMS", Success::One, {{Matrix, "F,P,pi"}, {Output, "likelihood"}, {OptionalOutput, "filtered"}}),
      Row("FnFracSigma", Success::Zero,
          {{Matrix, "parameters"}, {Integer, "p,q"}, {Number, "sigma2"}, {Integer, "n"}, {Output, "autocovariances"}}),
      Row("FnGLScovariance", Success::Matrix, {{Matrix, "a,b"}, {Integer, "hac"}}),
      Row("FnGarchVar", Success::One,
          {{Matrix, "y,c,coefficients"}, {Integer, "p,q,kind"}, {Number, "delta,tau,gamma"}, {Output, "h,e"}}),
      Row("FnGetAlgebraAddedData", Success::OutputRows, {{Output, "data"}, {TextsOutput, "names"}}),
      Row("FnGetAlgebraName", Success::Text, {{Integer, "index"}}),
      Row("FnGetAlgebraVar", Success::Matrix, {{Text, "name"}, {Integer, "first,last"}, {OptionalMatrix, "selection"}}),
      Row("FnImpulse", Success::Cells,
          {{Matrix, "y,x"},
           {Integer, "t1,t2,reduced,first kind,second kind"},
           {Matrix, "identities,kinds,lags,Pi,Omega"},
           {OptionalMatrix, "map,shock"},
           {Integer, "equation,kind"}}),
      Row("FnInitAlgebraNls", Success::Untouched,
          {{Matrix, "data"},
           {Texts, "names"},
           {Integer, "year,period,frequency,dated"},
           {Text, "code"},
           {OptionalOutput, "starts,numbers"}}),
      Row("FnInstabilityTest", Success::NotMinusOne, {{Matrix, "x,e"}, {Number, "rss"}, {Output, "statistics"}}),
      Row("FnJackknifeHCSE", Success::Cells, {{Matrix, "x,e,xxInv"}}),
      Row("FnKroneckerSel", Success::Matrix, {{Matrix, "a,b,rowSel,colSel"}}),
      Row("FnLogitJD", Success::Number,
          {{Matrix, "theta,Y"},
           {Integer, "J"},
           {Matrix, "X,Z,w,d"},
           {OptionalOutput, "score,information,probabilities,log-likelihoods,outer product"}}),
      Row("FnLogitProbDeriv", Success::Matrix, {{Matrix, "theta,p"}, {Integer, "k,J,nz"}}),
      Row("FnRalsForecast", Success::Number,
          {{Matrix, "theta,y,x"}, {Integer, "lagFirst,lagLast,h"}, {Matrix, "parCov"}, {Output, "errors,scales"}}),
      Row("FnRalsFunc", Success::Number,
          {{Matrix, "theta,y,x"},
           {Integer, "lagFirst,lagLast"},
           {Output, "innovations"},
           {OptionalOutput, "gradient,matrix"}}),
      Row("FnRivEst", Success::One,
          {{Matrix, "z"},
           {Integer, "nEndog,k,m,t1,t2,nInit"},
           {OptionalOutput, "coefficients,inverse,standardised,innovations,rss,residuals"}}),
      Row("FnRlsEst", Success::One,
          {{Matrix, "y,x"},
           {Integer, "t1,t2,tExact"},
           {OptionalOutput, "coefficients,inverse,standardised,innovations,rss,residuals,logdet"}}),
      Row("FnRunAlgebraNls", Success::Untouched, {{Matrix, "parameters"}, {Integer, "first,last"}}),
      Row("FnSeasonalRsq", Success::NotMinusOne, {{Matrix, "y"}, {Integer, "p"}, {Number, "rss"}, {Output, "means"}}),
      Row("FnSmoothMS", Success::One, {{Matrix, "filtered,P"}, {Output, "smoothed,moves"}}),
  });
}

}  // namespace detail

// Sorted by name, upper case before lower case.
inline constexpr auto kExports = detail::AllExports();

// Null when there is no such export.
constexpr const Export *FindExport(std::string_view name) {
  for (const Export &entry : kExports)
    if (entry.name == name) return &entry;
  return nullptr;
}

// What a call left behind, as far as its success shows.
struct CallEnd {
  int tag = 0;              // of rtn; 0 when it is as it was on entry
  double number = 0;        // of an integer or a double
  std::int64_t length = 0;  // cells of a matrix, characters of a text
  int outputRows = 0;       // of the first output; 0 when that is no matrix
};

constexpr bool Computed(const Export &entry, const CallEnd &end) {
  const bool isNumber = end.tag == MORV_DOUBLE && end.number == end.number;
  switch (entry.success) {
    case Success::Always: return true;
    case Success::Untouched: return end.tag == 0;
    case Success::Matrix: return end.tag == MORV_MATRIX;
    case Success::Cells: return end.tag == MORV_MATRIX && end.length > 0;
    case Success::Number: return isNumber;
    case Success::NotMinusOne: return isNumber && end.number != -1;
    case Success::Zero: return end.tag == MORV_INTEGER && end.number == 0;
    case Success::One: return end.tag == MORV_INTEGER && end.number == 1;
    case Success::Text: return end.tag == MORV_STRING && end.length > 0;
    case Success::OutputRows: return end.outputRows > 0;
  }
  return false;
}

}  // namespace tessel
