// The workspace's exports with every allocation failing in turn, and the calls that forecasts make.
#include "default_workspace.h"

#include <tessel/tessel.h>

#include <string>
#include <vector>

#include "core/missing.h"
#include "support/failing_allocation.h"

namespace tessel {
namespace {

// Opens a workspace of two observations of x and z. The text in rtn, empty on success.
std::string Open(const std::string &code, morv::Value *starts = nullptr, morv::Value *numbers = nullptr) {
  const double cells[] = {1, 2, 3, 4};
  const std::string names[] = {"x", "z"};
  morv::Arguments args;
  args.Matrix(cells, 2, 2).Strings(names).Integer(2000).Integer(1).Integer(4).Integer(0).Text(code);
  if (starts != nullptr) {
    args.Output(*starts).Output(*numbers);
  } else {
    args.Decline().Decline();
  }
  const morv::Outcome outcome = morv::Call("FnInitAlgebraNls", FnInitAlgebraNls, args);
  if (outcome.Untouched()) return "";
  return outcome.Returned() ? std::string(outcome.result.AsText()) : outcome.message;
}

// A program that makes every buffer grow: symbols, code, constants, and database.
std::string LargeProgram() {
  std::string code = "&1 = 2; y = &1*x + lag(z, 1); ewma(x, 0.5, 0.5, w);";
  for (int i = 0; i < 300; ++i) code += "v" + std::to_string(i) + " = x + " + std::to_string(i) + ".25; ";
  return code + "delete(v7);";
}

TEST(Workspace, EveryFailingAllocation) {
  const std::string code = LargeProgram();
  testing::internal::CaptureStdout();
  ForEachFailingAllocation(
      [&](bool failing) {
        std::string message;
        morv::Value starts, numbers, data, names;
        try {
          message = Open(code, &starts, &numbers);
        } catch (const std::bad_alloc &) {  // in building the arguments
          return;
        }
        EXPECT_EQ(message.empty(), DefaultWorkspace().IsOpen());
        if (!message.empty()) {
          EXPECT_TRUE(failing);
          return;
        }
        try {
          const double trial[] = {5};
          morv::Arguments run, get, added;
          run.Matrix(trial, 1, 1).Integer(0).Integer(1);
          if (!morv::Call("FnRunAlgebraNls", FnRunAlgebraNls, run).Untouched()) {
            EXPECT_TRUE(failing);
            return;
          }
          get.Text("v299").Integer(0).Integer(9).Decline();
          const morv::Outcome got = morv::Call("FnGetAlgebraVar", FnGetAlgebraVar, get);
          EXPECT_TRUE(failing || got.Returned());
          if (got.Returned()) {
            EXPECT_EQ(got.result.AsMatrix()(1, 0), 302.25);
          }
          added.Output(data).Output(names);
          morv::Call("FnGetAlgebraAddedData", FnGetAlgebraAddedData, added);
        } catch (const std::bad_alloc &) {
          EXPECT_TRUE(failing);
        }
        if (!failing) {
          EXPECT_EQ(names[0].AsText(), "y");
        }
      },
      [] { DefaultWorkspace().Close(); });
  testing::internal::GetCapturedStdout();
  EXPECT_EQ(Open("y = x;"), "") << "the next workspace works";
  DefaultWorkspace().Close();
}

TEST(Workspace, AFailedOpeningLeavesNothingAndTheNextOneWorks) {
  const auto live = HeapLiveBlocks();
  testing::internal::CaptureStdout();
  morv::Value starts, numbers;
  EXPECT_EQ(Open("y = \"x;"), "Scan error: Unexpected end of code on line 1");
  EXPECT_EQ(HeapLiveBlocks(), live);
  EXPECT_EQ(Open("y = nothing;"), "Parse error: nothing Undeclared identifier on line 1");
  EXPECT_EQ(HeapLiveBlocks(), live);
  EXPECT_EQ(Open("y = x;", &starts, &numbers), "Error: No parameters to estimate");
  EXPECT_EQ(Open("&0 = 1; y = &0;"), "Error: No parameters alllowed here");
  EXPECT_EQ(Open("&0 = 1; y = &0*&2;", &starts, &numbers), "Error: Need starting values for all parameters");
  EXPECT_EQ(HeapLiveBlocks(), live);
  testing::internal::GetCapturedStdout();
  EXPECT_EQ(Open("y = x;"), "");
  EXPECT_EQ(Open("y = z;"), "") << "a workspace that was left open is closed";
  DefaultWorkspace().Close();
  DefaultWorkspace().Close();
  EXPECT_EQ(HeapLiveBlocks(), live);
}

TEST(Workspace, WhatDoesNotExistIsSaidToBeMissing) {
  AlgebraWorkspace workspace;
  EXPECT_EQ(workspace.Name(0), nullptr);
  EXPECT_TRUE(workspace.Variable(0).empty());
  EXPECT_EQ(workspace.ParameterNumber(0), -1);
  EXPECT_TRUE(IsMissing(workspace.ParameterValue(0)));
  const double cells[] = {1, 2, 3, 4};
  const char *const names[] = {"x", nullptr};
  ASSERT_EQ(workspace.Open({2000, 1, 0, 0, 1}, 2, 2), Status::Ok);
  ASSERT_EQ(workspace.AddData({cells, 2, 2}, names), Status::Ok);
  EXPECT_STREQ(workspace.Name(1), "Var2");
  ASSERT_EQ(workspace.Compile("&3 = 1; y = x + &3;"), Status::Ok);
  // The variables are the program's layout now.
  EXPECT_EQ(workspace.AddData({cells, 2, 2}, names), Status::Invalid);
  EXPECT_EQ(workspace.VariableCount(), 3);
  workspace.MarkDates();
  EXPECT_FALSE(DbHasDates(workspace.Database()));
  EXPECT_TRUE(workspace.Variable(workspace.Find("absent")).empty());
  EXPECT_EQ(workspace.ParameterNumber(0), 3);
  EXPECT_EQ(workspace.ParameterNumber(1), -1);
  const double trial[] = {5};
  ASSERT_EQ(workspace.SetParameters(trial), Status::Ok);
  EXPECT_EQ(workspace.Attach(*workspace.Program()), Status::Ok) << "its own program, from its starting values again";
  EXPECT_EQ(workspace.ParameterValue(0), 1);
}

TEST(Workspace, CallsOfForecasts) {
  ASSERT_EQ(Open("level = x + z; ratio = x/level;"), "");
  AlgebraWorkspace &workspace = DefaultWorkspace();
  EXPECT_EQ(workspace.AddedCount(), 2);
  EXPECT_EQ(workspace.FirstAdded(), 2);
  const OwnedMatrix rows(4, 2);
  FillMissing(rows);
  rows[0][1] = 10;
  rows[1][1] = 30;
  workspace.PutRows(rows.View().Block(0, 2, 1, 1), 0, 1);
  EXPECT_TRUE(Succeeded(workspace.Run(1, 1)));
  workspace.GetRows(rows.View().Block(2, 2, 1, 1), 2, 1);
  EXPECT_EQ(rows[2][1], 40);
  EXPECT_EQ(rows[3][1], 0.25);
  EXPECT_TRUE(IsMissing(rows[2][0]));
  // Nothing outside the sample or the variables is touched.
  const Matrix column = rows.View().Columns(0, 1);
  EXPECT_EQ(workspace.Run(0, 2), Status::Invalid);
  for (const int observation : {-1, 2, 5}) workspace.PutRows(column, 0, observation);
  workspace.PutRows(column, 4, 0);
  workspace.PutRows(column.Rows(0, 1), -1, 0);
  EXPECT_EQ(workspace.Variable(0)[0], 1);
  Fill(column, 77);
  for (const int observation : {-1, 2}) workspace.GetRows(column, 0, observation);
  workspace.GetRows(column, 4, 0);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(column[i][0], 77);
  workspace.PutRows(column, -1, 1);  // the second row is variable 0
  EXPECT_EQ(workspace.Variable(0)[1], 77);
  workspace.Close();
  EXPECT_EQ(workspace.AddedCount(), 0);
  EXPECT_EQ(workspace.Run(0, 0), Status::Invalid);
  workspace.PutRows(column, 0, 0);
}

}  // namespace
}  // namespace tessel
