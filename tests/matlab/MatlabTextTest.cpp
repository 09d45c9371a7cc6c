// The text rule of the bridge, without an engine: the rewrite of Octave's one-line scalar
// displays into MATLAB's layout.
#include <gtest/gtest.h>

#include <string>

#include "matlab/OctaveDisplay.h"

namespace loom {
namespace {

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
