// The compiler. The rule that a function parses stands above it: `x` is a token, {x} any number of x, [x] at most one.
#include "algebra/parser.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <limits>

#include "algebra/dates.h"
#include "algebra/function_table.h"
#include "algebra/scanner.h"
#include "core/missing.h"

namespace tessel {

// The end of a compilation.
struct ParseError {
  Status status;
  char line[kMessageBytes];
};

namespace {

// A buffer that a statement must not overrun: after a statement that leaves at most `reserve` places free, the capacity
// grows by `step`.
struct Capacity {
  int places;
  int reserve;
  int step;
  const char *full;  // the message

  void GrowFor(int used) {
    if (places - used <= reserve) places += step;
  }
};
constexpr Capacity kCode = {200, 100, 200, "Code buffer full"};
constexpr Capacity kConstants = {400, 49, 400, "Constant buffer full"};
constexpr Capacity kSymbols = {150, 10, 20, "Symbol table full"};  // besides the database's variables

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

bool IsName(unsigned char token) { return token == TokIdentifier || token == TokString; }

const BinaryOperator *FindOperator(unsigned char token) {
  for (const BinaryOperator &binary : kOperators)
    if (binary.token == token) return &binary;
  return nullptr;
}

struct Number {
  double value;
  bool whole;  // digits alone, so that `1.0 - 0.5 - 0.25` stays arithmetic, and within the integers
};

// One compilation. Every error leaves by ParseError.
class Parser {
 public:
  Parser(const TokenStream &tokens, ParameterUse parameters, AlgebraDatabase &database, const MessageSink &sink)
      : tokens_(tokens), parameters_(parameters), database_(database), sink_(sink), cursor_(tokens.bytes.get()) {
    symbols_.places += database.varCount;
    slotOf_.fill(-1);
  }

  AlgebraProgram Compile() {
    if (LayoutOf(database_, &program_.layout) != Status::Ok) FailForMemory();
    FillFixedSlots();
    EnterSymbols();
    ParseProgram();
    CloseCode();
    return std::move(program_);
  }

 private:
  // ---- Errors

  int CurrentLine() const {
    int line = 1;
    for (const unsigned char *at = tokens_.bytes.get(); at < cursor_; SkipToken(at))
      if (*at == TokLine) line = (at[1] - '0') * 100 + (at[2] - '0') * 10 + (at[3] - '0');
    return line;
  }

  [[noreturn]] void Fail(const char *message, const char *text = "", Status status = Status::ParseFailed) const {
    ParseError error = {status, ""};
    std::snprintf(error.line, sizeof error.line, "Parse error: %s %s on line %d", text, message, CurrentLine());
    throw error;
  }

  [[noreturn]] void FailForMemory() const { Fail("Out of memory", "", Status::NoMemory); }

  [[noreturn]] void FailAtToken(const char *message, unsigned char token) {
    const char own[2] = {static_cast<char>(token), '\0'};
    const char *spelling = TokenSpelling(token);
    Fail(message, spelling == nullptr ? own : spelling);
  }

  // ---- Tokens

  // The next token, with the line marks ahead of it passed over.
  unsigned char Peek() {
    while (*cursor_ == TokLine) SkipToken(cursor_);
    return *cursor_;
  }

  void Skip() {
    Peek();
    SkipToken(cursor_);
  }

  bool Accept(Token token) {
    if (Peek() != token) return false;
    Skip();
    return true;
  }

  void Expect(Token token) {
    if (!Accept(token)) FailAtToken("Missing", token);
  }

  // The text behind the next token, which is passed over.
  const char *TakeText() {
    Peek();
    const auto *text = reinterpret_cast<const char *>(cursor_ + 1);
    Skip();
    return text;
  }

  const char *ExpectName() {
    if (!IsName(Peek())) FailAtToken("Missing", TokIdentifier);
    return TakeText();
  }

  double ExpectNumber() {
    if (Peek() != TokConstant) FailAtToken("Missing", TokConstant);
    return ConstantValue(TakeText());
  }

  // ---- Code and constants

  // Adds an element to a list that its capacity bounds; gives its index.
  template <class T>
  int Append(OwnedList<T> &list, const T &element, const Capacity &capacity) const {
    if (list.Size() == capacity.places) Fail(capacity.full);
    if (!list.Append(element)) FailForMemory();
    return list.Size() - 1;
  }

  int Emit(Opcode opcode, int operand) { return Append(program_.code, {opcode, operand}, code_); }

  int NewConstant(double value) { return Append(program_.constants, value, constants_); }

  int NumberSlot(double value) {
    for (int slot = 0; slot < kSharedSlots; ++slot)
      if (program_.constants[slot] == value) return slot;
    return NewConstant(value);
  }

  // Gives the constant slot of parameter n; a new one takes `value`, and so does an old one when `assign` is set.
  int ParameterSlot(int n, double value, bool assign) {
    if (n < 0 || n >= kMaxParameters) Fail("Parameter buffer full");
    int &slot = slotOf_[static_cast<std::size_t>(n)];
    if (slot < 0) {
      slot = NewConstant(value);
    } else if (assign) {
      program_.constants[slot] = value;
    }
    return slot;
  }

  // ---- Names

  void AddSymbol(const char *name, SymbolKind kind, int column) {
    if (program_.symbols.Size() == symbols_.places) Fail(symbols_.full);
    if (!program_.symbols.Add(name, kind, column)) FailForMemory();
  }

  // Keeps an edit of the database for AttachProgram.
  void KeepEdit(const DatabaseEdit &edit) {
    if (!program_.edits.Append(edit)) FailForMemory();
  }

  // The symbol of a variable that is assigned to, made when there is none.
  int TargetSymbol(const char *name) {
    const int found = program_.symbols.Find(name);
    if (found >= 0 && program_.symbols[found].symbolKind == SymbolVariable) return found;
    const int before = database_.varCount;
    const int column = DbFindOrAdd(database_, name);
    if (column < 0) Fail("Could not create variable");
    if (database_.varCount > before) {
      const int place = program_.editNames.Add(name);
      if (place < 0) FailForMemory();
      KeepEdit({place, -1});
    }
    AddSymbol(name, SymbolVariable, column);
    return program_.symbols.Size() - 1;
  }

  int ExistingSymbol(const char *name) const {
    const int found = program_.symbols.Find(name);
    if (found < 0) Fail("Undeclared identifier", name);
    return found;
  }

  // ---- Expressions

  // One more level of nesting for as long as an expression inside another one is parsed.
  void ParseNested() {
    if (++nesting_ > kMaxNesting) Fail("Out of memory");
    ParseOr();
    --nesting_;
  }

  // index: `[` or `]`
  //      | `[` or or `]`          the second one opens with `(`
  // The result tells whether it is the second form: a calendar position.
  bool ParseIndex() {
    Expect(TokOpenIndex);
    ParseNested();
    const bool dated = Peek() == TokOpen;
    if (dated) ParseNested();
    Expect(TokCloseIndex);
    return dated;
  }

  // An `r` or `d` argument: a name, whose symbol's index is pushed.
  void ParseColumnArgument(char letter) {
    constexpr const char *message = "Argument must be variable name, found";
    if (!IsName(Peek())) FailAtToken(message, TokIdentifier);
    const char *name = TakeText();
    int symbol = 0;
    if (letter == 'd') {
      symbol = TargetSymbol(name);
    } else {
      symbol = ExistingSymbol(name);
      if (program_.symbols[symbol].symbolKind == SymbolFunction) Fail("Expected a variable, not a function", name);
    }
    Emit(OpConstant, NewConstant(symbol));
    const unsigned char next = Peek();
    if (next != TokComma && next != TokClose) FailAtToken(message, next);
  }

  // call: name `(` [argument {`,` argument}] `)`
  void ParseCall(const char *name) {
    const int row = FindFunction(name);
    if (row < 0) Fail("Not a function", name);
    Expect(TokOpen);
    const char *signature = FunctionTable()[static_cast<std::size_t>(row)].signature.letters;
    for (const char *letter = signature; *letter != '\0'; ++letter) {
      if (letter != signature) Expect(TokComma);
      if (*letter == 'v') {
        ParseNested();
      } else {
        ParseColumnArgument(*letter);
      }
    }
    Expect(TokClose);
    Emit(OpCall, row);
  }

  // name | name index | call
  void ParseName() {
    const char *name = TakeText();
    const unsigned char next = Peek();
    if (next == TokOpen) {
      ParseCall(name);
      return;
    }
    const int symbol = ExistingSymbol(name);
    if (program_.symbols[symbol].symbolKind == SymbolFunction) FailAtToken("Missing", TokOpen);
    Opcode opcode = OpLoad;
    if (next == TokOpenIndex) opcode = ParseIndex() ? OpLoadDated : OpLoadOffset;
    Emit(opcode, symbol);
  }

  // Reads `separator` number `separator` number at the cursor, where no line mark may stand between the tokens. On
  // failure the cursor stays.
  bool TakeTwoMore(Token separator, double (&parts)[2]) {
    const unsigned char *at = cursor_;
    for (double &part : parts) {
      if (*at != separator) return false;
      SkipToken(at);
      if (*at != TokConstant) return false;
      part = ConstantValue(reinterpret_cast<const char *>(at + 1));
      SkipToken(at);
    }
    cursor_ = at;
    return true;
  }

  Number TakeNumber() {
    const char *text = TakeText();
    const double value = ConstantValue(text);
    return {value, text[std::strspn(text, "0123456789")] == '\0' && value <= std::numeric_limits<int>::max()};
  }

  bool TakeTime(const Number &hours, double *value) {
    double parts[2];
    if (!hours.whole || !TakeTwoMore(TokColon, parts)) return false;
    const int hundredths = TruncateToInt(parts[1] * 100.0);
    *value = TimeFromHms(TruncateToInt(hours.value), TruncateToInt(parts[0]), hundredths / 100, hundredths % 100);
    return true;
  }

  // A date may be followed at once by a time.
  bool TakeDate(const Number &year, double *value) {
    double parts[2];
    if (!year.whole || !TakeTwoMore(TokMinus, parts)) return false;
    *value = DateFromYmd(TruncateToInt(year.value), TruncateToInt(parts[0]), TruncateToInt(parts[1]));
    const unsigned char *afterDate = cursor_;
    if (*afterDate == TokConstant) {
      double time = 0.0;
      if (TakeTime(TakeNumber(), &time)) {
        *value += time;
      } else {
        cursor_ = afterDate;
      }
    }
    return true;
  }

  // number
  // number `-` number `-` number      a date, the first number of digits alone
  // number `:` number `:` number      a time, the first number of digits alone
  void ParseNumber() {
    const Number number = TakeNumber();
    double value = number.value;
    if (!TakeDate(number, &value)) TakeTime(number, &value);
    Emit(OpConstant, NumberSlot(value));
  }

  // `&` number
  void ParseParameter() {
    if (parameters_ == ParameterUse::Refused) {
      sink_(MessageKind::Warning, "'&' indicates a parameter, and is only allowed in Model formulation");
      FailAtToken("Out of place", TokParameter);
    }
    Skip();
    const int n = TruncateToInt(ExpectNumber());
    Emit(OpConstant, ParameterSlot(n, MissingValue(), false));
  }

  // primary: name | name index | call | `(` or `)` | `&` number | number | a constant's word
  void ParsePrimary() {
    const unsigned char token = Peek();
    if (IsName(token)) return ParseName();
    if (token == TokConstant) return ParseNumber();
    if (token == TokParameter) return ParseParameter();
    if (token == TokOpen) {
      Skip();
      ParseNested();
      return Expect(TokClose);
    }
    for (const ConstantWord &word : kConstantWords) {
      if (word.token != token) continue;
      Skip();
      Emit(OpConstant, word.slot);
      return;
    }
    FailAtToken("Out of place", token);
  }

  // power: primary {`^` primary}
  void ParsePower() {
    ParsePrimary();
    while (Accept(TokPower)) {
      ParsePrimary();
      Emit(OpOperator, TokPower);
    }
  }

  // unary: `!` unary | `-` unary | `+` unary | power
  void ParseUnary() {
    const unsigned char sign = Peek();
    if (sign != TokNot && sign != TokMinus && sign != TokPlus) return ParsePower();
    if (++nesting_ > kMaxNesting) Fail("Out of memory");
    Skip();
    ParseUnary();
    --nesting_;
    if (sign == TokNot) Emit(OpOperator, TokNot);
    if (sign == TokMinus) Emit(OpOperator, kNegate);
  }

  // or:       and {`||` and}
  // and:      equality {`&&` equality}
  // equality: relation {(`==` | `!=`) relation}
  // relation: sum {(`<=` | `>=` | `<` | `>`) sum}
  // sum:      product {(`+` | `-`) product}
  // product:  unary {(`*` | `/`) unary}
  // One function for all six: it takes the operators of at least the given level.
  void ParseBinary(int level) {
    ParseUnary();
    for (const BinaryOperator *binary = FindOperator(Peek()); binary != nullptr && binary->level >= level;
         binary = FindOperator(Peek())) {
      Skip();
      ParseBinary(binary->level + 1);
      Emit(OpOperator, binary->token);
    }
  }

  void ParseOr() { ParseBinary(1); }

  // ---- Statements

  // value: or | or `?` or | or `?` or `:` or
  // Without the else part the target's old value stays.
  void ParseValue(int target) {
    ParseOr();
    if (!Accept(TokQuestion)) return;
    const int toElse = Emit(OpJumpIfZero, 0);
    ParseOr();
    const int toEnd = Emit(OpJump, 0);
    program_.code[toElse].operand = program_.code.Size();
    if (Accept(TokColon)) {
      ParseOr();
    } else {
      Emit(OpLoad, target);
    }
    program_.code[toEnd].operand = program_.code.Size();
  }

  // name `=` value `;` | name index `=` value `;`
  void ParseAssignment() {
    const int target = TargetSymbol(TakeText());
    Opcode opcode = OpStore;
    if (Peek() == TokOpenIndex) opcode = ParseIndex() ? OpStoreDated : OpStoreOffset;
    Expect(TokAssign);
    ParseValue(target);
    Emit(opcode, target);
    Expect(TokSemicolon);
  }

  // `&` number `=` [`+` | `-`] number `;`
  void ParseStartingValue() {
    if (parameters_ == ParameterUse::Refused) FailAtToken("Out of place", TokParameter);
    Skip();
    const int n = TruncateToInt(ExpectNumber());
    Expect(TokAssign);
    const bool negative = Accept(TokMinus);
    if (!negative) Accept(TokPlus);
    const double value = ExpectNumber();
    ParameterSlot(n, negative ? -value : value, true);
    Expect(TokSemicolon);
  }

  void DeleteVariable(const char *name) {
    const int index = DbFind(database_, name);
    if (index < 0) return;
    const int column = database_.variables[index].column, before = database_.varCount;
    DbDeleteVariable(database_, index);
    if (database_.varCount == before) return;  // protected
    program_.symbols.Hide(column);
    KeepEdit({-1, index});
  }

  // `delete` `(` name {`,` name} `)` `;`
  void ParseDelete() {
    Skip();
    Expect(TokOpen);
    do DeleteVariable(ExpectName());
    while (Accept(TokComma));
    Expect(TokClose);
    Expect(TokSemicolon);
  }

  // What follows the name that the statement opens with.
  unsigned char PeekBehindName() {
    Peek();
    const unsigned char *at = cursor_;
    do SkipToken(at);
    while (*at == TokLine);
    return *at;
  }

  bool OpensWithDelete() {
    return Peek() == TokIdentifier && std::strcmp(reinterpret_cast<const char *>(cursor_ + 1), "delete") == 0;
  }

  // statement: `;` | starting value | delete | assignment | or `;`      the last one opens with a name
  void ParseStatement() {
    const unsigned char token = Peek();
    if (token == TokSemicolon) return Skip();
    if (token == TokParameter) return ParseStartingValue();
    if (!IsName(token)) FailAtToken("Out of place", token);
    if (OpensWithDelete()) return ParseDelete();
    const unsigned char next = PeekBehindName();
    if (next == TokAssign || next == TokOpenIndex) return ParseAssignment();
    ParseOr();
    Emit(OpAdjust, -1);
    Expect(TokSemicolon);
  }

  // ---- The whole

  void FillFixedSlots() {
    const double fixed[FixedSlots] = {0,
                                      1,
                                      2,
                                      3,
                                      4,
                                      5,
                                      static_cast<double>(program_.layout.frequency),
                                      MissingValue(),
                                      3.141592653589793,
                                      static_cast<double>(program_.layout.obsCount)};
    for (const double value : fixed) NewConstant(value);
  }

  void EnterSymbols() {
    for (const FunctionRow &row : FunctionTable()) AddSymbol(row.name, SymbolFunction, -1);
    for (int i = 0; i < database_.varCount; ++i)
      AddSymbol(database_.variables[i].name, SymbolVariable, database_.variables[i].column);
  }

  bool OpensStatement() const {
    return !program_.code.Empty() && program_.code[program_.code.Size() - 1].opcode == OpStatement;
  }

  void CloseCode() {
    if (OpensStatement()) {
      program_.code.Last().operand = -1;
    } else {
      Emit(OpStatement, -1);
    }
    Emit(OpEnd, 0);
    for (int n = 0; n < kMaxParameters; ++n)
      if (const int slot = slotOf_[static_cast<std::size_t>(n)]; slot >= 0 && !program_.parameters.Append({n, slot}))
        FailForMemory();
    const int dateColumn = database_.varCount > 0 ? database_.variables[0].column : -1;
    if (BuildPlan(program_, dateColumn) != Status::Ok) FailForMemory();
  }

  // program: {statement}      up to `}` or the end
  void ParseProgram() {
    Expect(TokStart);
    for (unsigned char token = Peek(); token != TokCloseBrace && token != TokEnd; token = Peek()) {
      if (!OpensStatement()) Emit(OpStatement, 0);
      ParseStatement();
      code_.GrowFor(program_.code.Size());
      constants_.GrowFor(program_.constants.Size());
      symbols_.GrowFor(program_.symbols.Size());
    }
  }

  const TokenStream &tokens_;
  const ParameterUse parameters_;
  AlgebraDatabase &database_;
  const MessageSink &sink_;

  const unsigned char *cursor_;
  int nesting_ = 0;
  Capacity code_ = kCode;
  Capacity constants_ = kConstants;
  Capacity symbols_ = kSymbols;
  std::array<int, kMaxParameters> slotOf_;  // of each parameter number, -1 for one that is not used
  AlgebraProgram program_;
};

}  // namespace

Status Compile(const TokenStream &tokens, ParameterUse parameters, AlgebraDatabase &database, MessageLog &log,
               AlgebraProgram *program) {
  *program = {};
  log.Clear();
  try {
    *program = Parser(tokens, parameters, database, log.sink).Compile();
    return Status::Ok;
  } catch (const ParseError &error) {
    log.Error(error.line);
    return error.status;
  }
}

}  // namespace tessel
