// The code that the compiler emits and the machine runs.
#pragma once

namespace tessel {

// Opcodes, numbered by the character codes of their letters. t is the current observation; the value stack's top is at
// the right of the stack column.
enum Opcode : int {
  OpEnd = 0,           //      -               closes the code
  OpCall = 'C',        // row  args -> result  calls the built-in of that row of the function table
  OpLoadDated = 'D',   // sym  year, period -> value
  OpAdjust = 'I',      // n    adds n to the depth of the stack
  OpJump = 'J',        // at   goes to that instruction
  OpLoad = 'L',        // sym  -> data[t]
  OpOperator = 'O',    // op   a [, b] -> a op b; the operand is a token code or kNegate
  OpStore = 'S',       // sym  value ->        data[t] = value
  OpLoadOffset = 'X',  // sym  offset -> data[t + offset]
  OpStoreDated = 'd',  // sym  year, period, value ->
  OpJumpIfZero = 'j',  // at   value ->        goes to that instruction when value equals 0
  OpConstant = 'l',    // slot -> constant
  OpStatement = 's',   // 0    next observation, or next statement; -1 ends the run
  OpStoreOffset = 'x'  // sym  offset, value ->  data[t + offset] = value
};

// The operator code of the unary minus; every other operator bears its token's code.
inline constexpr int kNegate = 85;

struct Instruction {
  int opcode;
  int operand;
};

}  // namespace tessel
