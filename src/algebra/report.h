// Where Algebra's messages leave the library.
#pragma once

namespace tessel {

// Prints "\nLABEL: TEXT\n" on standard output and flushes it. Labels are "Error" and "Warning".
void AlgebraReport(const char *label, const char *text);

}  // namespace tessel
