// The REPL fed from a stream: results, blocks read over several lines, commands and errors.
#include <gtest/gtest.h>

#include <sstream>

#include "app/Repl.h"
#include "functions/Registry.h"

namespace loom {
namespace {

struct ReplCase {
  std::string name;
  std::string input;
  std::string out;
  std::string err;
};

TEST(Repl, RunsLinesAndBlocksAsTyped) {
  const std::vector<ReplCase> cases = {
      // A block's result is that of the last expression run: here the EndIf.
      {"if block with else", "x:=0\nIf(x>0)\ny:=1\nElse\ny:=-1\nEndIf\ny\n", "0\n0\n-1\n", ""},
      {"unclosed block at the end of input", "If(1)\n2\n", "", "Loops or jumps are not matched\n"},
      {"compile error drops the block", "If(1)\n1+\nEndIf\n", "",
       "1+: Can not find operand/function \"+\"\nblock dropped\nLoops or jumps are not matched\n"},
      {"run-time error inside a block", "v:=[1]\nIf(1)\nv+[1,2]\nEndIf\n5\n", "[ 1]\n5\n",
       "vector sizes are not matched\n"},
      {"dump does not evaluate", "k:=1\n:dump k:=k+1\nk\n",
       "1\nk:=k+1\n  0000 +        (k, 1) -> #0\n  0001 :=       (k, #0) -> #1\n1\n", ""},
      {"unknown command", ":nope\n", "", "unknown command \":nope\" (:help lists the commands)\n"},
      {"quit inside a block drops it", "If(1)\n:quit\n2\n", "", ""},
      {"commands work inside a block", "v:=4\nIf(1)\n:vars\nEndIf\n", "4\nv = 4\n0\n", ""},
  };
  for (const auto& c : cases) {
    TVXExpressionEvaluator evaluator;
    std::istringstream in(c.input);
    auto reader = MakeStreamLineReader(in);
    std::ostringstream out;
    std::ostringstream err;
    TRepl repl(evaluator, *reader, out, err);
    EXPECT_EQ(repl.Run(), 0) << c.name;
    EXPECT_EQ(out.str(), c.out) << c.name;
    EXPECT_EQ(err.str(), c.err) << c.name;
  }
}

TEST(Repl, HelpNamesEveryCommand) {
  TVXExpressionEvaluator evaluator;
  std::istringstream in(":help\n");
  std::ostringstream out, err;
  TRepl(evaluator, *MakeStreamLineReader(in), out, err).Run();
  for (const char* command : {":help", ":dump EXPR", ":vars", ":quit"})
    EXPECT_NE(out.str().find(command), std::string::npos) << command;
  EXPECT_EQ(err.str(), "");
}

}  // namespace
}  // namespace loom
