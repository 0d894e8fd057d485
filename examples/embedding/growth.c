/* A host in C: the Algebra workspace over 8 quarters of output and prices. */
#include <morv/host.h>
#include <tessel/tessel.h>

#include <stdio.h>
#include <stdlib.h>

enum { QUARTERS = 8, VARIABLES = 2 };

static double data[QUARTERS][VARIABLES] = {{100.0, 50.0}, {102.0, 50.5}, {103.5, 51.3}, {103.0, 52.1},
                                           {101.9, 52.6}, {102.4, 52.4}, {104.0, 52.9}, {105.8, 53.5}};

/* Calls a function; what goes wrong ends the program. Returns whether the function stored a result. */
static int Call(const char *name, MorvFunction function, MorvValue *result, const MorvValue *args, int count) {
  char message[256];
  const int status = MorvCall(name, function, result, args, count, message, sizeof message);
  if (status == MORV_RETURNED || status == MORV_UNTOUCHED) return status == MORV_RETURNED;
  fprintf(stderr, "%s\n", message);
  exit(EXIT_FAILURE);
}

/* Opens a workspace with the data and a program. A program that does not compile leaves a message as the result. */
static int Open(const char *program) {
  double *rows[QUARTERS];
  for (int t = 0; t < QUARTERS; ++t) rows[t] = data[t];
  MorvValue names = MorvIntegerValue(0), code = MorvIntegerValue(0), result = MorvIntegerValue(0);
  MorvLibValArrayCalloc(&names, VARIABLES);
  MorvValSetString(MorvValGetArrayVal(&names, 0), "output");
  MorvValSetString(MorvValGetArrayVal(&names, 1), "prices");
  MorvValSetString(&code, program);
  const MorvValue args[] = {
      MorvMatrixValue(rows, QUARTERS, VARIABLES),
      names,
      MorvIntegerValue(2020), /* first observation: 2020(1) */
      MorvIntegerValue(1),
      MorvIntegerValue(4), /* quarters */
      MorvIntegerValue(0), /* no column of dates */
      code,
      MorvIntegerValue(0), /* no parameters: their outputs are declined */
      MorvIntegerValue(0),
  };
  const int failed = Call("FnInitAlgebraNls", FnInitAlgebraNls, &result, args, 9);
  if (failed) printf("No workspace. %s\n", MorvValGetString(&result));
  MorvFreeByValue(&names);
  MorvFreeByValue(&code);
  MorvFreeByValue(&result);
  return !failed;
}

/* Runs the program over all quarters. */
static int Run(void) {
  MorvValue result = MorvIntegerValue(0);
  const MorvValue args[] = {MorvMatrixValue(NULL, 0, 0), MorvIntegerValue(0), MorvIntegerValue(QUARTERS - 1)};
  const int failed = Call("FnRunAlgebraNls", FnRunAlgebraNls, &result, args, 3);
  MorvFreeByValue(&result);
  return !failed;
}

/* Prints a variable. A missing value is a NaN. */
static void Print(const char *name) {
  MorvValue text = MorvIntegerValue(0), result = MorvIntegerValue(0);
  MorvValSetString(&text, name);
  const MorvValue args[] = {text, MorvIntegerValue(0), MorvIntegerValue(QUARTERS - 1), MorvIntegerValue(0)};
  if (Call("FnGetAlgebraVar", FnGetAlgebraVar, &result, args, 4)) {
    double **cells = result.data;
    printf("%-10s", name);
    for (int t = 0; t < result.value.shape.rows; ++t)
      if (cells[t][0] == cells[t][0])
        printf(" %7.2f", cells[t][0]);
      else
        printf(" %7s", "-");
    printf("\n");
  }
  MorvFreeByValue(&text);
  MorvFreeByValue(&result);
}

int main(void) {
  Open("growth = 400 * dlog(outptu);"); /* prints the message, and no workspace is open */

  if (Open("growth = 400 * dlog(output); real = output / prices; falling = growth < 0;") && Run()) {
    Print("growth");
    Print("real");
    Print("falling");
  }
  MorvValue result = MorvIntegerValue(0);
  Call("FnExitAlgebraNls", FnExitAlgebraNls, &result, NULL, 0);

  /* An argument of the wrong type comes back as an error. */
  const MorvValue wrong[] = {MorvDoubleValue(0.5), MorvIntegerValue(4)};
  char message[256];
  MorvCall("FnDeSeasonalize", FnDeSeasonalize, &result, wrong, 2, message, sizeof message);
  printf("%s\n", message);
  return EXIT_SUCCESS;
}
