// The two text rules of the bridge, without an engine: the column count that MatlabGetVector
// reads from a reply, and the rewrite of Octave's one-line scalar displays into MATLAB's layout.
#include <gtest/gtest.h>

#include <string>

#include "matlab/MatlabVector.h"
#include "matlab/OctaveDisplay.h"

namespace loom {
namespace {

TEST(MatlabTextTest, ColumnCountReadsTheLineAfterTheFirstBlankLine) {
  const struct {
    const char* reply;
    int count;
  } rows[] = {
      {"ans =\n\n    5\n\n", 5},        // this bridge's layout
      {"\nans =\n\n     5\n\n", 5},     // MATLAB's, with its leading line feed
      {"ans =\n\n    12\nrest\n", 12},  // only up to the next line feed
      {"ans =\n\n   -3\n\n", -3},
      {"ans =\n\n    0\n\n", 0},
      {" x\n\n12\n", 2},      // a leading blank shifts the piece: kept as the rule reads it
      {"ans =\n\n    5", 0},  // no line feed after the count: an empty piece
      {"ans =\n\n    5.5\n\n", 0},
      {"ans =\n\n    99999999999\n\n", 0},
      {"error: 'x' undefined\n", 0},
      {"", 0},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(MatlabColumnCount(row.reply), row.count) << '"' << row.reply << '"';
  }
}

TEST(MatlabTextTest, ScalarDisplaysTakeMatlabsLayoutAndNothingElseChanges) {
  const struct {
    const char* octave;
    const char* matlab;
  } rows[] = {
      {"x = 5\n", "x =\n\n    5\n\n"},
      {"ans = 3.1416\nb_2 = -Inf\n", "ans =\n\n    3.1416\n\nb_2 =\n\n    -Inf\n\n"},
      {"z =  1 + 2i\n", "z =\n\n    1 + 2i\n\n"},
      {"m =\n\n   1   2\n\n", "m =\n\n   1   2\n\n"},
      {"s =\n\n  scalar structure containing the fields:\n\n    a = 1\n\n",
       "s =\n\n  scalar structure containing the fields:\n\n    a = 1\n\n"},
      {"x = 5", "x = 5"},  // unfinished: printed text
      {"x =  \n_a = 1\n2 = 3\na=1\n", "x =  \n_a = 1\n2 = 3\na=1\n"},
      {"", ""},
  };
  for (const auto& row : rows) EXPECT_EQ(MatlabDisplayLayout(row.octave), row.matlab);
}

}  // namespace
}  // namespace loom
