// The compiler. The rule that a function parses stands above it: `x` is a token, {x} any number of x, [x] at most one.
#include "algebra/parser.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <limits>

#include "algebra/dates.h"
#include "algebra/function_table.h"
#include "algebra/grow.h"
#include "algebra/plan.h"
#include "algebra/report.h"
#include "algebra/scanner.h"
#include "algebra/symbols.h"
#include "algebra/tokens.h"
#include "core/heap.h"
#include "core/missing.h"

namespace tessel {

namespace {

// A buffer that grows after a statement, when fewer than `reserve` places are left, by `step` places.
struct Buffer {
  int initial;
  int reserve;
  int step;
};
constexpr Buffer kCode = {200, 100, 200};
constexpr Buffer kConstants = {400, 50, 400};
constexpr int kSpareSymbols = 150;

// The constant slots that are fixed at the start: 0 to 5 hold their own numbers.
enum FixedSlot : int {
  SlotFalse = 0,
  SlotTrue = 1,
  SlotFrequency = 6,
  SlotMissing = 7,
  SlotPi = 8,
  SlotNobs = 9,
  FixedSlots = 10
};
constexpr int kSharedSlots = 7;  // a number equal to one of these slots shares it

// The binary operators; a higher level binds tighter. All group to the left.
struct BinaryOperator {
  Token token;
  int level;
};
constexpr BinaryOperator kOperators[] = {
    {TokOr, 1},      {TokAnd, 2},  {TokEqual, 3}, {TokNotEqual, 3}, {TokAtMost, 4}, {TokAtLeast, 4},
    {TokGreater, 4}, {TokLess, 4}, {TokPlus, 5},  {TokMinus, 5},    {TokTimes, 6},  {TokOver, 6},
};

// The words that stand for a constant slot.
struct ConstantWord {
  Token token;
  FixedSlot slot;
};
constexpr ConstantWord kConstantWords[] = {
    {TokFalse, SlotFalse},     {TokTrue, SlotTrue}, {TokFrequency, SlotFrequency},
    {TokMissing, SlotMissing}, {TokPi, SlotPi},     {TokNobs, SlotNobs}};

// The state of one compilation. Errors unwind by longjmp, so nothing on the way owns anything.
struct Compiler {
  AlgebraContext *context;
  int nesting;
};

// ---- Errors

int CurrentLine(const AlgebraContext *context) {
  int line = 1;
  const unsigned char *at = context->tokens;
  while (at < context->cursor) {
    const unsigned char token = *at++;
    if (token == TokLine) {
      line = (at[0] - '0') * 100 + (at[1] - '0') * 10 + (at[2] - '0');
      at += kLineDigits;
    } else if (HasText(token)) {
      at += std::strlen(reinterpret_cast<const char *>(at)) + 1;
    }
  }
  return line;
}

[[noreturn]] void Fail(Compiler &compiler, const char *message, const char *text = "") {
  AlgebraContext *context = compiler.context;
  std::snprintf(context->message, kMessageBytes, "Parse error: %s %s on line %d", text, message, CurrentLine(context));
  AlgebraReport("Error", context->message);
  std::longjmp(context->recovery, 1);
}

[[noreturn]] void FailAtToken(Compiler &compiler, const char *message, unsigned char token) {
  const char own[2] = {static_cast<char>(token), '\0'};
  const char *spelling = TokenSpelling(token);
  Fail(compiler, message, spelling == nullptr ? own : spelling);
}

// ---- Tokens

void SkipToken(const unsigned char *&cursor) {
  const unsigned char token = *cursor;
  if (token == TokEnd) return;  // the stream has nothing behind it
  ++cursor;
  if (token == TokLine) {
    cursor += kLineDigits;
  } else if (HasText(token)) {
    cursor += std::strlen(reinterpret_cast<const char *>(cursor)) + 1;
  }
}

// The next token, with the line marks ahead of it passed over.
unsigned char Peek(Compiler &compiler) {
  while (*compiler.context->cursor == TokLine) SkipToken(compiler.context->cursor);
  return *compiler.context->cursor;
}

void Skip(Compiler &compiler) {
  Peek(compiler);
  SkipToken(compiler.context->cursor);
}

bool Accept(Compiler &compiler, Token token) {
  if (Peek(compiler) != token) return false;
  Skip(compiler);
  return true;
}

void Expect(Compiler &compiler, Token token) {
  if (!Accept(compiler, token)) FailAtToken(compiler, "Missing", token);
}

bool IsName(unsigned char token) { return token == TokIdentifier || token == TokString; }

// The text behind the next token, which is passed over.
const char *TakeText(Compiler &compiler) {
  Peek(compiler);
  const auto *text = reinterpret_cast<const char *>(compiler.context->cursor + 1);
  Skip(compiler);
  return text;
}

const char *ExpectName(Compiler &compiler) {
  if (!IsName(Peek(compiler))) FailAtToken(compiler, "Missing", TokIdentifier);
  return TakeText(compiler);
}

double ExpectNumber(Compiler &compiler) {
  if (Peek(compiler) != TokConstant) FailAtToken(compiler, "Missing", TokConstant);
  return ConstantValue(TakeText(compiler));
}

// ---- Code and constants

int Emit(Compiler &compiler, Opcode opcode, int operand) {
  AlgebraContext *context = compiler.context;
  const auto used = static_cast<int>(context->codeTop - context->code);
  if (used == context->codeCapacity) Fail(compiler, "Code buffer full");
  *context->codeTop++ = {opcode, operand};
  return used;
}

int NextInstruction(const Compiler &compiler) {
  return static_cast<int>(compiler.context->codeTop - compiler.context->code);
}

int NewConstant(Compiler &compiler, double value) {
  AlgebraContext *context = compiler.context;
  if (context->constantCount == context->constantCapacity) Fail(compiler, "Constant buffer full");
  context->constants[context->constantCount] = value;
  return context->constantCount++;
}

int NumberSlot(Compiler &compiler, double value) {
  const double *constants = compiler.context->constants;
  for (int slot = 0; slot < kSharedSlots; ++slot)
    if (constants[slot] == value) return slot;
  return NewConstant(compiler, value);
}

// Gives the constant slot of parameter n; a new one takes `value`, and so does an old one when `assign` is set.
int ParameterSlot(Compiler &compiler, int n, double value, bool assign) {
  AlgebraContext *context = compiler.context;
  if (n < 0 || n >= context->paramCapacity) Fail(compiler, "Parameter buffer full");
  int &slot = context->paramTable[n];
  if (slot < 0) {
    slot = NewConstant(compiler, value);
    *context->paramHigh = std::max(*context->paramHigh, n);
  } else if (assign) {
    context->constants[slot] = value;
  }
  return slot;
}

// ---- Names

void AddSymbol(Compiler &compiler, const char *name, SymbolKind kind, ColumnHandle *handle) {
  switch (SymbolAdd(compiler.context, name, kind, handle)) {
    case SymbolAdded::TableFull: Fail(compiler, "Symbol table full");
    case SymbolAdded::OutOfMemory: Fail(compiler, "Out of memory");
    case SymbolAdded::Yes: break;
  }
}

// The symbol of a variable that is assigned to, made when there is none.
int TargetSymbol(Compiler &compiler, const char *name) {
  AlgebraContext *context = compiler.context;
  const int found = SymbolFind(context, name);
  if (found >= 0 && context->symbols[found].symbolKind == SymbolVariable) {
    DbMarkChanged(context->database, context->symbols[found].handle);
    return found;
  }
  ColumnHandle *handle = DbFindOrAdd(context->database, name);
  if (handle == nullptr) Fail(compiler, "Could not create variable");
  AddSymbol(compiler, name, SymbolVariable, handle);
  return SymbolCount(context) - 1;
}

int ExistingSymbol(Compiler &compiler, const char *name) {
  const int found = SymbolFind(compiler.context, name);
  if (found < 0) Fail(compiler, "Undeclared identifier", name);
  return found;
}

// ---- Expressions

void ParseOr(Compiler &compiler);

// One more level of nesting for as long as an expression inside another one is parsed.
void ParseNested(Compiler &compiler) {
  if (++compiler.nesting > kMaxNesting) Fail(compiler, "Out of memory");
  ParseOr(compiler);
  --compiler.nesting;
}

// index: `[` or `]`
//      | `[` or or `]`          the second one opens with `(`
// The result tells whether it is the second form: a calendar position.
bool ParseIndex(Compiler &compiler) {
  Expect(compiler, TokOpenIndex);
  ParseNested(compiler);
  const bool dated = Peek(compiler) == TokOpen;
  if (dated) ParseNested(compiler);
  Expect(compiler, TokCloseIndex);
  return dated;
}

// An `r` or `d` argument: a name, whose symbol's index is pushed.
void ParseColumnArgument(Compiler &compiler, char letter) {
  constexpr const char *message = "Argument must be variable name, found";
  if (!IsName(Peek(compiler))) FailAtToken(compiler, message, TokIdentifier);
  const char *name = TakeText(compiler);
  int symbol = 0;
  if (letter == 'd') {
    symbol = TargetSymbol(compiler, name);
  } else {
    symbol = ExistingSymbol(compiler, name);
    if (compiler.context->symbols[symbol].symbolKind == SymbolFunction)
      Fail(compiler, "Expected a variable, not a function", name);
  }
  Emit(compiler, OpConstant, NewConstant(compiler, symbol));
  const unsigned char next = Peek(compiler);
  if (next != TokComma && next != TokClose) FailAtToken(compiler, message, next);
}

// call: name `(` [argument {`,` argument}] `)`
void ParseCall(Compiler &compiler, const char *name) {
  const int row = FindFunction(name);
  if (row < 0) Fail(compiler, "Not a function", name);
  Expect(compiler, TokOpen);
  const char *signature = FunctionTable()[row].signature;
  for (const char *letter = signature; *letter != '\0'; ++letter) {
    if (letter != signature) Expect(compiler, TokComma);
    if (*letter == 'v') {
      ParseNested(compiler);
    } else {
      ParseColumnArgument(compiler, *letter);
    }
  }
  Expect(compiler, TokClose);
  Emit(compiler, OpCall, row);
}

// name | name index | call
void ParseName(Compiler &compiler) {
  const char *name = TakeText(compiler);
  const unsigned char next = Peek(compiler);
  if (next == TokOpen) {
    ParseCall(compiler, name);
    return;
  }
  const int symbol = ExistingSymbol(compiler, name);
  if (compiler.context->symbols[symbol].symbolKind == SymbolFunction) FailAtToken(compiler, "Missing", TokOpen);
  Opcode opcode = OpLoad;
  if (next == TokOpenIndex) opcode = ParseIndex(compiler) ? OpLoadDated : OpLoadOffset;
  Emit(compiler, opcode, symbol);
}

// Reads `separator` number `separator` number at the cursor, where no line mark may stand between the tokens. On
// failure the cursor stays.
bool TakeTwoMore(Compiler &compiler, Token separator, double (&parts)[2]) {
  const unsigned char *at = compiler.context->cursor;
  for (double &part : parts) {
    if (*at != separator) return false;
    SkipToken(at);
    if (*at != TokConstant) return false;
    part = ConstantValue(reinterpret_cast<const char *>(at + 1));
    SkipToken(at);
  }
  compiler.context->cursor = at;
  return true;
}

struct Number {
  double value;
  bool whole;  // digits alone, so that `1.0 - 0.5 - 0.25` stays arithmetic, and within the integers
};

Number TakeNumber(Compiler &compiler) {
  const char *text = TakeText(compiler);
  const double value = ConstantValue(text);
  return {value, text[std::strspn(text, "0123456789")] == '\0' && value <= std::numeric_limits<int>::max()};
}

bool TakeTime(Compiler &compiler, const Number &hours, double *value) {
  double parts[2];
  if (!hours.whole || !TakeTwoMore(compiler, TokColon, parts)) return false;
  const int hundredths = TruncateToInt(parts[1] * 100.0);
  *value = TimeFromHms(TruncateToInt(hours.value), TruncateToInt(parts[0]), hundredths / 100, hundredths % 100);
  return true;
}

// A date may be followed at once by a time.
bool TakeDate(Compiler &compiler, const Number &year, double *value) {
  double parts[2];
  if (!year.whole || !TakeTwoMore(compiler, TokMinus, parts)) return false;
  *value = DateFromYmd(TruncateToInt(year.value), TruncateToInt(parts[0]), TruncateToInt(parts[1]));
  const unsigned char *afterDate = compiler.context->cursor;
  if (*afterDate == TokConstant) {
    double time = 0.0;
    if (TakeTime(compiler, TakeNumber(compiler), &time)) {
      *value += time;
    } else {
      compiler.context->cursor = afterDate;
    }
  }
  return true;
}

// number
// number `-` number `-` number      a date, the first number of digits alone
// number `:` number `:` number      a time, the first number of digits alone
void ParseNumber(Compiler &compiler) {
  const Number number = TakeNumber(compiler);
  double value = number.value;
  if (!TakeDate(compiler, number, &value)) TakeTime(compiler, number, &value);
  Emit(compiler, OpConstant, NumberSlot(compiler, value));
}

// `&` number
void ParseParameter(Compiler &compiler) {
  if (compiler.context->paramTable == nullptr) {
    AlgebraReport("Warning", "'&' indicates a parameter, and is only allowed in Model formulation");
    FailAtToken(compiler, "Out of place", TokParameter);
  }
  Skip(compiler);
  const int n = TruncateToInt(ExpectNumber(compiler));
  Emit(compiler, OpConstant, ParameterSlot(compiler, n, MissingValue(), false));
}

// primary: name | name index | call | `(` or `)` | `&` number | number | a constant's word
void ParsePrimary(Compiler &compiler) {
  const unsigned char token = Peek(compiler);
  if (IsName(token)) return ParseName(compiler);
  if (token == TokConstant) return ParseNumber(compiler);
  if (token == TokParameter) return ParseParameter(compiler);
  if (token == TokOpen) {
    Skip(compiler);
    ParseNested(compiler);
    return Expect(compiler, TokClose);
  }
  for (const ConstantWord &word : kConstantWords) {
    if (word.token != token) continue;
    Skip(compiler);
    Emit(compiler, OpConstant, word.slot);
    return;
  }
  FailAtToken(compiler, "Out of place", token);
}

// power: primary {`^` primary}
void ParsePower(Compiler &compiler) {
  ParsePrimary(compiler);
  while (Accept(compiler, TokPower)) {
    ParsePrimary(compiler);
    Emit(compiler, OpOperator, TokPower);
  }
}

// unary: `!` unary | `-` unary | `+` unary | power
void ParseUnary(Compiler &compiler) {
  const unsigned char sign = Peek(compiler);
  if (sign != TokNot && sign != TokMinus && sign != TokPlus) return ParsePower(compiler);
  if (++compiler.nesting > kMaxNesting) Fail(compiler, "Out of memory");
  Skip(compiler);
  ParseUnary(compiler);
  --compiler.nesting;
  if (sign == TokNot) Emit(compiler, OpOperator, TokNot);
  if (sign == TokMinus) Emit(compiler, OpOperator, kNegate);
}

const BinaryOperator *FindOperator(unsigned char token) {
  for (const BinaryOperator &binary : kOperators)
    if (binary.token == token) return &binary;
  return nullptr;
}

// or:       and {`||` and}
// and:      equality {`&&` equality}
// equality: relation {(`==` | `!=`) relation}
// relation: sum {(`<=` | `>=` | `<` | `>`) sum}
// sum:      product {(`+` | `-`) product}
// product:  unary {(`*` | `/`) unary}
// One function for all six: it takes the operators of at least the given level.
void ParseBinary(Compiler &compiler, int level) {
  ParseUnary(compiler);
  for (const BinaryOperator *binary = FindOperator(Peek(compiler)); binary != nullptr && binary->level >= level;
       binary = FindOperator(Peek(compiler))) {
    Skip(compiler);
    ParseBinary(compiler, binary->level + 1);
    Emit(compiler, OpOperator, binary->token);
  }
}

void ParseOr(Compiler &compiler) { ParseBinary(compiler, 1); }

// ---- Statements

// value: or | or `?` or | or `?` or `:` or
// Without the else part the target's old value stays.
void ParseValue(Compiler &compiler, int target) {
  ParseOr(compiler);
  if (!Accept(compiler, TokQuestion)) return;
  Instruction *code = compiler.context->code;
  const int toElse = Emit(compiler, OpJumpIfZero, 0);
  ParseOr(compiler);
  const int toEnd = Emit(compiler, OpJump, 0);
  code[toElse].operand = NextInstruction(compiler);
  if (Accept(compiler, TokColon)) {
    ParseOr(compiler);
  } else {
    Emit(compiler, OpLoad, target);
  }
  code[toEnd].operand = NextInstruction(compiler);
}

// name `=` value `;` | name index `=` value `;`
void ParseAssignment(Compiler &compiler) {
  const int target = TargetSymbol(compiler, TakeText(compiler));
  Opcode opcode = OpStore;
  if (Peek(compiler) == TokOpenIndex) opcode = ParseIndex(compiler) ? OpStoreDated : OpStoreOffset;
  Expect(compiler, TokAssign);
  ParseValue(compiler, target);
  Emit(compiler, opcode, target);
  Expect(compiler, TokSemicolon);
}

// `&` number `=` [`+` | `-`] number `;`
void ParseStartingValue(Compiler &compiler) {
  if (compiler.context->paramTable == nullptr) FailAtToken(compiler, "Out of place", TokParameter);
  Skip(compiler);
  const int n = TruncateToInt(ExpectNumber(compiler));
  Expect(compiler, TokAssign);
  const bool negative = Accept(compiler, TokMinus);
  if (!negative) Accept(compiler, TokPlus);
  const double value = ExpectNumber(compiler);
  ParameterSlot(compiler, n, negative ? -value : value, true);
  Expect(compiler, TokSemicolon);
}

void DeleteVariable(Compiler &compiler, const char *name) {
  AlgebraContext *context = compiler.context;
  AlgebraDatabase *database = context->database;
  const int index = DbFind(database, name);
  if (index < 0) return;
  const ColumnHandle *handle = database->handles[index];
  const int before = database->varCount;
  DbDeleteVariable(database, index);
  if (database->varCount == before) return;  // protected
  SymbolsHide(context, handle);
  if (context->hostVariables != nullptr && index < *context->hostVariables) --*context->hostVariables;
}

// `delete` `(` name {`,` name} `)` `;`
void ParseDelete(Compiler &compiler) {
  Skip(compiler);
  Expect(compiler, TokOpen);
  do DeleteVariable(compiler, ExpectName(compiler));
  while (Accept(compiler, TokComma));
  Expect(compiler, TokClose);
  Expect(compiler, TokSemicolon);
}

// What follows the name that the statement opens with.
unsigned char PeekBehindName(Compiler &compiler) {
  Peek(compiler);
  const unsigned char *at = compiler.context->cursor;
  do SkipToken(at);
  while (*at == TokLine);
  return *at;
}

bool OpensWithDelete(Compiler &compiler) {
  return Peek(compiler) == TokIdentifier &&
         std::strcmp(reinterpret_cast<const char *>(compiler.context->cursor + 1), "delete") == 0;
}

// statement: `;` | starting value | delete | assignment | or `;`      the last one opens with a name
void ParseStatement(Compiler &compiler) {
  const unsigned char token = Peek(compiler);
  if (token == TokSemicolon) return Skip(compiler);
  if (token == TokParameter) return ParseStartingValue(compiler);
  if (!IsName(token)) FailAtToken(compiler, "Out of place", token);
  if (OpensWithDelete(compiler)) return ParseDelete(compiler);
  const unsigned char next = PeekBehindName(compiler);
  if (next == TokAssign || next == TokOpenIndex) return ParseAssignment(compiler);
  ParseOr(compiler);
  Emit(compiler, OpAdjust, -1);
  Expect(compiler, TokSemicolon);
}

// ---- The whole

// After each statement: room for the next one.
void GrowBuffers(Compiler &compiler) {
  AlgebraContext *context = compiler.context;
  bool grown = SymbolsGrow(context);
  const int used = NextInstruction(compiler);
  if (used >= context->codeCapacity - kCode.reserve) {
    grown = grown && GrowableExtend(context->code, used, context->codeCapacity, kCode.step);
    context->codeTop = context->code + used;
  }
  if (context->constantCount > context->constantCapacity - kConstants.reserve) {
    grown =
        grown && GrowableExtend(context->constants, context->constantCount, context->constantCapacity, kConstants.step);
  }
  if (!grown) Fail(compiler, "Out of memory");
}

void OpenBuffers(Compiler &compiler) {
  AlgebraContext *context = compiler.context;
  const AlgebraDatabase *database = context->database;
  context->code = context->codeTop = GrowableNew<Instruction>(kCode.initial);
  context->codeCapacity = kCode.initial;
  context->constants = GrowableNew<double>(kConstants.initial);
  context->constantCapacity = kConstants.initial;
  if (!SymbolsOpen(context, database->varCount + kSpareSymbols) || context->code == nullptr ||
      context->constants == nullptr)
    Fail(compiler, "Out of memory");

  const double fixed[FixedSlots] = {0,
                                    1,
                                    2,
                                    3,
                                    4,
                                    5,
                                    static_cast<double>(database->sample.frequency),
                                    MissingValue(),
                                    3.141592653589793,
                                    static_cast<double>(SampleObsCount(database->sample))};
  std::copy_n(fixed, static_cast<int>(FixedSlots), context->constants);
  context->constantCount = FixedSlots;
  if (context->paramHigh != nullptr) *context->paramHigh = -1;
  if (context->paramTable != nullptr) std::fill_n(context->paramTable, context->paramCapacity, -1);
}

void EnterSymbols(Compiler &compiler) {
  for (const FunctionRow *row = FunctionTable(); row->name != nullptr; ++row) {
    if (SymbolFind(compiler.context, row->name) >= 0) Fail(compiler, "Duplicate identifier", row->name);
    AddSymbol(compiler, row->name, SymbolFunction, nullptr);
  }
  const AlgebraDatabase *database = compiler.context->database;
  for (int i = 0; i < database->varCount; ++i)
    AddSymbol(compiler, database->names[i], SymbolVariable, database->handles[i]);
}

void CloseCode(Compiler &compiler) {
  AlgebraContext *context = compiler.context;
  if (context->codeTop != context->code && context->codeTop[-1].opcode == OpStatement) {
    context->codeTop[-1].operand = -1;
  } else {
    Emit(compiler, OpStatement, -1);
  }
  Emit(compiler, OpEnd, 0);
  for (SymbolEntry *symbol = context->symbols; symbol != context->symbolTop; ++symbol)
    symbol->data = ColumnData(symbol->handle);
  context->plan = PlanBuild(context);
  if (context->plan == nullptr) Fail(compiler, "Out of memory");
}

// program: {statement}      up to `}` or the end
void ParseProgram(Compiler &compiler) {
  AlgebraContext *context = compiler.context;
  Expect(compiler, TokStart);
  for (unsigned char token = Peek(compiler); token != TokCloseBrace && token != TokEnd; token = Peek(compiler)) {
    const bool atStart = context->codeTop != context->code && context->codeTop[-1].opcode == OpStatement;
    if (!atStart) Emit(compiler, OpStatement, 0);
    ParseStatement(compiler);
    GrowBuffers(compiler);
  }
}

}  // namespace

int Compile(AlgebraContext *context, AlgebraDatabase *database) {
  Compiler compiler = {context, 0};
  context->database = database;
  context->cursor = context->tokens;
  context->errors = 0;
  context->message[0] = '\0';
  if (setjmp(context->recovery) != 0) return 0;
  OpenBuffers(compiler);
  EnterSymbols(compiler);
  ParseProgram(compiler);
  CloseCode(compiler);
  return 1;
}

void ReleaseCode(AlgebraContext *context) {
  PlanRelease(context->plan);
  SymbolsClose(context);
  HeapFree(context->tokens);
  HeapFree(context->code);
  HeapFree(context->constants);
  context->plan = nullptr;
  context->tokens = nullptr;
  context->cursor = nullptr;
  context->code = context->codeTop = nullptr;
  context->constants = nullptr;
  context->tokenSize = context->codeCapacity = context->constantCount = context->constantCapacity = 0;
}

}  // namespace tessel
