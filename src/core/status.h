// How a worker ends.
//
// Every worker that can fail returns a Status; success is Ok and nothing else. Exhausted memory is NoMemory everywhere,
// so that no caller has to guess it from a result. The exports turn a status into the integer or the empty result that
// they document.
#pragma once

namespace tessel {

enum class [[nodiscard]] Status : int{
    Ok = 0,
    NoMemory,       // work memory could not be had
    Invalid,        // an argument outside what the worker computes: no such shock, a sample without a step
    Singular,       // a pivot of 0, or within tolerance of it
    NotPositive,    // a matrix is not positive definite, or a variance is not above 0
    NotConverged,   // an iteration reached its limit
    NotFinite,      // a value that must be a number is missing or infinite
    NotIdentified,  // fewer instruments than regressors
    Nested,         // one model contains the other
    Incomplete,     // a term that the method needs is absent or stands twice
    OrderZero,      // a lag polynomial of order 0
    TooFew,         // fewer variables than the method compares
    NoStatistic,    // a test statistic is negative or missing
    OutOfRange,     // a parameter beyond the bound up to which the method is computed
    NotStationary,  // a root on or outside the unit circle
    EqualRoots,     // roots that the method needs apart
    ScanFailed,     // Algebra: the text is no sequence of tokens
    ParseFailed,    // Algebra: the tokens are no program
    RunFailed       // Algebra: the run met an error that is more than a warning
};

[[nodiscard]] inline bool Succeeded(Status status) { return status == Status::Ok; }
[[nodiscard]] inline bool Failed(Status status) { return status != Status::Ok; }

}  // namespace tessel
