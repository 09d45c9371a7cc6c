#!/usr/bin/env python3
"""End-to-end tests of the `loom` command line.

Each row of CASES runs the built binary once, in a fresh temporary directory that holds the
row's files, and compares standard output, standard error and the exit status exactly (or,
for long listings, by the lines they must contain).

  run_cli_tests.py --list                      names of all rows, one per line
  run_cli_tests.py --loom PATH --case NAME     run one row
  run_cli_tests.py --loom PATH                 run every row
"""

import argparse
import os
import re
import subprocess
import sys
import tempfile
import time

import host_cases

EXAMPLES = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "examples")
USAGE_HINT = "Run with --help for more information.\n"

WHILE_SCRIPT = "x:=0\ns:=0\nWhile(x<3)\n  x:=x+1\n  s:=s+x\nWend\n\ns\n"
IF_SCRIPT = 'x:=3\nIf(x>2)\n  y:="big"\nElse\n  y:="small"\nEndIf\ny\n'
REPEAT_SCRIPT = "i:=0\nRepeat\ni:=i+1\nUntil(i>=3)\ni*10\n"

# name, args, stdin, files, and the expectations: stdout (exact) or stdout_lines (lines that
# must appear) or stdout_regex, stderr (exact), status.
CASES = [
    # --- eval of expressions ---
    dict(name="eval_engine_runs_octave", args=["eval", "--engine", 'MatlabCommand("disp(2+2)")',
                                               "v:=[0]", 'MatlabPutVector("w", [1,2])',
                                               'MatlabGetVector("w", v)', "v"],
         stdout="4\n\n[ 0]\n1\n1\n[ 1, 2]\n", stderr="", status=0),
    dict(name="eval_engine_error_stops_the_formula",
         args=["eval", "MatlabCommand(\"error('boom')\")"],
         stdout="", stderr="error: boom\n", status=1),
    dict(name="eval_carries_variables",
         args=["eval", "x:=2", "x*3+1", "[1,2,3]*x", '"ab"+"cd"'],
         stdout="2\n7\n[ 2, 4, 6]\nabcd\n", stderr="", status=0),
    dict(name="eval_number_text",
         args=["eval", "1/3", "0.00001", "0.000001", "1e20*1.5", "1234567890123456", "sqrt(-1)"],
         stdout="0.333333333333333\n0.00001\n1E-6\n1.5E20\n1.23456789012346E15\nNAN\n",
         stderr="", status=0),
    dict(name="eval_empty_expression_is_empty_result", args=["eval", ""],
         stdout="NAN\n", stderr="", status=0),
    dict(name="eval_vector_argument_stays_whole", args=["eval", "[1,2,3]", "[]"],
         stdout="[ 1, 2, 3]\n]\n", stderr="", status=0),
    dict(name="eval_leading_minus_after_double_dash", args=["eval", "--", "x:=3", "-x"],
         stdout="3\n-3\n", stderr="", status=0),
    dict(name="eval_boolean_true", args=["eval", "--boolean", "x:=2", "x>1"],
         stdout="2\nTrue\n", stderr="", status=0),
    dict(name="eval_boolean_false", args=["eval", "--boolean", "2>3"],
         stdout="False\n", stderr="", status=0),
    dict(name="eval_boolean_needs_boolean_expression", args=["eval", "--boolean", "x:=1", "x"],
         stdout="1\n", stderr="expression 2: x: expression is not boolean\n", status=1),
    dict(name="eval_cstyle", args=["eval", "--cstyle", "2 != 3", "0 && 1", "fact(4)"],
         stdout="1\n1\n24\n", stderr="", status=0),
    dict(name="eval_without_cstyle_has_no_not_equal", args=["eval", "2 != 3"],
         stdout="", stderr='2 != 3: two successive variables/constants "2"\n', status=1),
    dict(name="eval_decimal_comma",
         args=["eval", "--decimal-separator", ",", "1,5+1", "max(1;2)", "[1,5;2]", "1/4"],
         stdout="2,5\n2\n[ 1,5, 2]\n0,25\n", stderr="", status=0),
    dict(name="eval_dump_shows_folded_constant", args=["eval", "--dump", "1+2*3"],
         stdout="1+2*3\n  0000 load     (7) -> #0\n7\n", stderr="", status=0),
    dict(name="eval_dump_without_folding", args=["eval", "--no-fold", "--dump", "1+2*3"],
         stdout="1+2*3\n  0000 *        (2, 3) -> #0\n  0001 +        (1, #0) -> #1\n7\n",
         stderr="", status=0),
    dict(name="eval_first_error_stops", args=["eval", "1", "1+", "2"],
         stdout="1\n", stderr='expression 2: 1+: Can not find operand/function "+"\n', status=1),
    dict(name="eval_runtime_error", args=["eval", "x:=[1,2]", "x+[1,2,3]"],
         stdout="[ 1, 2]\n", stderr="expression 2: vector sizes are not matched\n", status=1),
    dict(name="eval_single_runtime_error_is_the_exact_message", args=["eval", "[1,2]+[1,2,3]"],
         stdout="", stderr="vector sizes are not matched\n", status=1),
    # --- scripts ---
    dict(name="script_while", args=["eval", "-f", "sum.loom"], files={"sum.loom": WHILE_SCRIPT},
         stdout="6\n", stderr="", status=0),
    dict(name="script_while_trace", args=["eval", "-f", "sum.loom", "--trace"],
         files={"sum.loom": WHILE_SCRIPT},
         stdout=("0: 0\n1: 0\n"
                 "2: 0\n3: 1\n4: 1\n5: 1\n"
                 "2: 0\n3: 2\n4: 3\n5: 1\n"
                 "2: 0\n3: 3\n4: 6\n5: 1\n"
                 "2: 1\n7: 6\n6\n"),
         stderr="", status=0),
    dict(name="script_if_else_trace", args=["eval", "--trace", "-f", "if.loom"],
         files={"if.loom": IF_SCRIPT},
         stdout="0: 3\n1: 0\n2: big\n3: 1\n6: big\nbig\n", stderr="", status=0),
    dict(name="script_else_branch", args=["eval", "-f", "if.loom"],
         files={"if.loom": IF_SCRIPT.replace("x:=3", "x:=1")},
         stdout="small\n", stderr="", status=0),
    dict(name="script_repeat_until", args=["eval", "-f", "-"], stdin=REPEAT_SCRIPT,
         stdout="30\n", stderr="", status=0),
    dict(name="script_crlf_lines", args=["eval", "-f", "crlf.loom"],
         files={"crlf.loom": "a:=2\r\n\r\nIf(a>1)\r\na:=a*5\r\nEndIf\r\na\r\n"},
         stdout="10\n", stderr="", status=0),
    dict(name="script_dump", args=["eval", "-f", "-", "--dump"], stdin="a:=2\n\nb:=a*[1,2]\n",
         stdout=("line 1:\na:=2\n  0000 :=       (a, 2) -> #0\n"
                 "line 3:\nb:=a*[1,2]\n  0000 *        (a, [ 1, 2]) -> #0\n"
                 "  0001 :=       (b, #0) -> #1\n[ 2, 4]\n"),
         stderr="", status=0),
    dict(name="script_compile_error_line", args=["eval", "-f", "bad.loom"],
         files={"bad.loom": "x:=1\n\n1+\nx\n"},
         stdout="", stderr='line 3: 1+: Can not find operand/function "+"\n', status=1),
    dict(name="script_runtime_error_line", args=["eval", "-f", "-", "--trace"],
         stdin="v:=[1,2]\nw:=v*2\nv+[1]\nw\n",
         stdout="0: [ 1, 2]\n1: [ 2, 4]\n", stderr="line 3: vector sizes are not matched\n",
         status=1),
    dict(name="script_unclosed_block", args=["eval", "-f", "-"], stdin="If(1)\n2\n",
         stdout="", stderr="line 1: Loops or jumps are not matched\n", status=1),
    dict(name="script_wrong_partner", args=["eval", "-f", "-"], stdin="x:=1\nWhile(1)\nEndIf\n",
         stdout="", stderr='line 3: Invalid loop command: "EndIf" expects "Wend"\n', status=1),
    dict(name="script_jump_inside_expression", args=["eval", "--timeout", "5", "-f", "-"],
         stdin="y := While(0)\nx := 1\nWend\nx + y\n",
         stdout="1\n", stderr="", status=0, max_seconds=10),
    dict(name="script_missing_file", args=["eval", "-f", "nope.loom"],
         stdout="", stderr='cannot read script "nope.loom"\n', status=1),
    dict(name="script_timeout_stops_endless_loop", args=["eval", "-f", "-", "--timeout", "0.5"],
         stdin="While(1)\nWend\n",
         stdout="", stderr="script stopped after 0.5 s (timeout)\n", status=2, max_seconds=20),
    dict(name="script_timeout_stops_counting_loop", args=["eval", "--timeout", "1", "-f", "-"],
         stdin="i:=0\nWhile(1)\ni:=i+1\nWend\ni\n",
         stdout="", stderr="script stopped after 1 s (timeout)\n", status=2, max_seconds=20),
    dict(name="script_within_timeout", args=["eval", "--timeout", "30", "-f", "-"],
         stdin="1+1\n", stdout="2\n", stderr="", status=0, max_seconds=10),
    dict(name="example_primes", args=["eval", "-f", "{examples}/primes.loom"],
         stdout="10\n", stderr="", status=0),
    dict(name="example_running_mean", args=["eval", "-f", "{examples}/running-mean.loom"],
         stdout="6.42886374608203\n", stderr="", status=0),
    # --- usage errors ---
    dict(name="usage_eval_needs_input", args=["eval"],
         stdout="", stderr="eval: give EXPR... or -f FILE\n" + USAGE_HINT, status=64),
    dict(name="usage_trace_needs_file", args=["eval", "--trace", "1"],
         stdout="", stderr="--trace requires --file\n" + USAGE_HINT, status=64),
    dict(name="usage_file_excludes_expressions", args=["eval", "-f", "a.loom", "1"],
         stdout="", stderr="--file excludes EXPR\n" + USAGE_HINT, status=64),
    dict(name="usage_bad_decimal_separator", args=["eval", "--decimal-separator", ";", "1"],
         stdout="", stderr="--decimal-separator: ; not in {.,,}\n" + USAGE_HINT, status=64),
    dict(name="usage_needs_subcommand", args=[],
         stdout="", stderr="A subcommand is required\n" + USAGE_HINT, status=64),
    dict(name="usage_leading_minus_needs_double_dash", args=["eval", "-x"],
         stdout="", stderr=("The following argument was not expected: -x\n"
                            'an EXPR that begins with "-" goes after "--", which ends the options: '
                            "loom eval -- -x\n" + USAGE_HINT),
         status=64),
    dict(name="usage_cstyle_lists_what_it_adds", args=["eval", "--help"],
         stdout_regex=r"--cstyle +add the C-style spellings: \|\| && == != fact perc\n",
         stderr="", status=0),
    dict(name="help_lists_subcommands", args=["--help"],
         stdout_lines=["Subcommands:"],
         stdout_regex=r"(?s)eval .*repl .*functions .*operators .*help-topic ",
         stderr="", status=0),
    dict(name="version", args=["--version"], stdout_regex=r"^loom \d+\.\d+(\.\d+)?\n$",
         stderr="", status=0),
    # --- the word list ---
    dict(name="functions_list", args=["functions"],
         stdout_lines=["[ arg1, arg2, ... ]", "Abs( arg )", "Max( arg1, arg2 )", "Random"],
         stdout_absent=["Fact"], stderr="", status=0),
    dict(name="functions_list_cstyle", args=["functions", "--cstyle"],
         stdout_lines=["Fact", "Perc", "Random"], stderr="", status=0),
    dict(name="operators_list", args=["operators"],
         stdout="".join(op + "\n" for op in
                        "! % * + - / := < << <= <> = > >= >> ^ and div mod not or xor".split()),
         stderr="", status=0),
    dict(name="operators_list_cstyle", args=["operators", "--cstyle"],
         stdout_lines=["!=", "&&", "==", "||", ":="], stdout_absent=["-@", "+@", "^@"],
         stderr="", status=0),
    dict(name="help_topic_function", args=["help-topic", "sin"],
         stdout="Functions/Sin_(Sine)_Function.htm\n", stderr="", status=0),
    dict(name="help_topic_operator", args=["help-topic", "*"],
         stdout="Operators/__(Multiplication)_Operator.htm\n", stderr="", status=0),
    dict(name="help_topic_constant", args=["help-topic", "PI"],
         stdout="Constants.htm\n", stderr="", status=0),
    dict(name="help_topic_reserved_variable", args=["help-topic", "timestart"],
         stdout="Variables.htm\n", stderr="", status=0),
    dict(name="help_topic_unknown", args=["help-topic", "nosuchword"],
         stdout="", stderr='no help topic for "nosuchword"\n', status=1),
    # --- repl through standard input ---
    dict(name="repl_session", args=["repl"],
         stdin=("x:=2\nx*3\n\n1+\n:dump x+1\n"
                "While(x<20)\nx:=x*2\nWend\nx\n:vars\n:quit\n99\n"),
         stdout="2\n6\nx+1\n  0000 +        (x, 1) -> #0\n1\n32\nx = 32\n",
         stderr='1+: Can not find operand/function "+"\n', status=0),
    dict(name="repl_decimal_comma", args=["repl", "--decimal-separator", ","],
         stdin="a:=2,5\nmax(a;1)\n", stdout="2,5\n2,5\n", stderr="", status=0),
    dict(name="repl_unclosed_block_at_end", args=["repl"], stdin="If(1)\n1\n",
         stdout="", stderr="Loops or jumps are not matched\n", status=0),
]

CASES += host_cases.CASES


def wait_for_text(path, text, seconds):
    """Waits until the file at path holds exactly text; False when it never did."""
    deadline = time.monotonic() + seconds
    while time.monotonic() < deadline:
        if os.path.exists(path):
            with open(path, newline="") as handle:
                if handle.read() == text:
                    return True
        time.sleep(0.02)
    return False


def run_streaming(command, case, workdir, env, failures):
    """Feeds stdin_steps one by one, each awaited in its file, then closes standard input."""
    process = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                               stderr=subprocess.PIPE, text=True, cwd=workdir, env=env)
    for chunk, name, text in case["stdin_steps"]:
        process.stdin.write(chunk)
        process.stdin.flush()
        if not wait_for_text(os.path.join(workdir, name), text, 10):
            failures.append("after writing %r, %s never held %r" % (chunk, name, text))
            break
    stdout, stderr = process.communicate(timeout=case.get("max_seconds", 30))
    return subprocess.CompletedProcess(command, process.returncode, stdout, stderr)


def run_with_pty(command, case, workdir, env, master):
    """Writes pty_input to the pseudo-terminal's master side once the run has had time to open
    the port, and keeps the master open until the run ends."""
    process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                               stderr=subprocess.PIPE, text=True, cwd=workdir, env=env)
    time.sleep(case.get("pty_delay", 0.5))
    for chunk in case["pty_input"]:
        os.write(master, chunk)
        time.sleep(0.1)
    stdout, stderr = process.communicate(timeout=case.get("max_seconds", 30))
    return subprocess.CompletedProcess(command, process.returncode, stdout, stderr)


def check_files(case, workdir, failures):
    for name, expected in case.get("expect_files", {}).items():
        path = os.path.join(workdir, name)
        if not os.path.exists(path):
            failures.append("%s was not written" % name)
            continue
        with open(path, newline="") as handle:
            actual = handle.read()
        if actual != expected:
            failures.append("%s:\n%r\nexpected:\n%r" % (name, actual, expected))
    for name in case.get("absent_files", []):
        for path in (name, name + ".partial"):
            if os.path.exists(os.path.join(workdir, path)):
                failures.append("%s exists, but the run must leave no such file" % path)


def check_same_as_runs(loom, case, workdir, env, failures):
    """Runs each command of also_run in the same folder, then compares the pairs of same_files
    byte for byte: a batch's outputs against those of single runs."""
    for args in case.get("also_run", []):
        run = subprocess.run([loom] + args, capture_output=True, cwd=workdir, env=env, timeout=30)
        if run.returncode != 0:
            failures.append("loom %s: exit status %d\n%s" % (" ".join(args), run.returncode,
                                                             run.stderr.decode()))
    for first, second in case.get("same_files", []):
        paths = [os.path.join(workdir, name) for name in (first, second)]
        missing = [name for name, path in zip((first, second), paths) if not os.path.exists(path)]
        if missing:
            failures.append("%s was not written" % " and ".join(missing))
            continue
        contents = []
        for path in paths:
            with open(path, "rb") as handle:
                contents.append(handle.read())
        if contents[0] != contents[1]:
            failures.append("%s differs from %s:\n%r\n%r" % (first, second, *contents))


def check_case(loom, case):
    """Runs one row; returns a list of failure descriptions (empty when it passed)."""
    failures = []
    master = None
    pty_path = ""
    if "pty_input" in case:
        master, slave = os.openpty()
        pty_path = os.ttyname(slave)
        os.close(slave)
    with tempfile.TemporaryDirectory(prefix="loom-cli-") as workdir:
        for name, text in case.get("files", {}).items():
            if isinstance(text, str):
                text = text.replace("{pty}", pty_path)
            path = os.path.join(workdir, name)
            os.makedirs(os.path.dirname(path), exist_ok=True)
            with open(path, "wb" if isinstance(text, bytes) else "w",
                      **({} if isinstance(text, bytes) else {"newline": ""})) as handle:
                handle.write(text)
        env = dict(os.environ, HOME=workdir)
        started = time.monotonic()
        args = [arg.replace("{examples}", EXAMPLES) for arg in case["args"]]
        try:
            if "stdin_steps" in case:
                run = run_streaming([loom] + args, case, workdir, env, failures)
            elif master is not None:
                run = run_with_pty([loom] + args, case, workdir, env, master)
            else:
                run = subprocess.run([loom] + args, input=case.get("stdin", ""),
                                     capture_output=True, text=True, cwd=workdir, env=env,
                                     timeout=case.get("max_seconds", 30))
        except subprocess.TimeoutExpired:
            return ["did not finish within %s s" % case.get("max_seconds", 30)]
        finally:
            if master is not None:
                os.close(master)
        elapsed = time.monotonic() - started
        check_files(case, workdir, failures)
        check_same_as_runs(loom, case, workdir, env, failures)
    if run.returncode != case["status"]:
        failures.append("exit status %d, expected %d" % (run.returncode, case["status"]))
    if "stdout" in case and run.stdout != case["stdout"]:
        failures.append("stdout:\n%r\nexpected:\n%r" % (run.stdout, case["stdout"]))
    lines = run.stdout.splitlines()
    for line in case.get("stdout_lines", []):
        if line not in lines:
            failures.append("stdout lacks the line %r:\n%s" % (line, run.stdout))
    for line in case.get("stdout_absent", []):
        if line in lines:
            failures.append("stdout has the line %r" % line)
    if "stdout_regex" in case and not re.search(case["stdout_regex"], run.stdout):
        failures.append("stdout does not match %r:\n%s" % (case["stdout_regex"], run.stdout))
    if "stderr_regex" in case:
        if not re.search(case["stderr_regex"], run.stderr):
            failures.append("stderr does not match %r:\n%s" % (case["stderr_regex"], run.stderr))
    elif run.stderr != case["stderr"]:
        failures.append("stderr:\n%r\nexpected:\n%r" % (run.stderr, case["stderr"]))
    if "max_seconds" in case and elapsed > case["max_seconds"]:
        failures.append("took %.1f s" % elapsed)
    return failures


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--loom", help="the loom binary")
    parser.add_argument("--case", help="run only this row")
    parser.add_argument("--list", action="store_true", help="list the rows")
    options = parser.parse_args()
    names = [case["name"] for case in CASES]
    if len(set(names)) != len(names):
        sys.exit("duplicate case names")
    if options.list:
        print("\n".join(names))
        return 0
    if not options.loom:
        parser.error("--loom is required")
    selected = [c for c in CASES if options.case in (None, c["name"])]
    if not selected:
        sys.exit("no case named %r" % options.case)
    failed = 0
    for case in selected:
        failures = check_case(os.path.abspath(options.loom), case)
        if failures:
            failed += 1
            print("FAIL %s (loom %s)" % (case["name"], " ".join(case["args"])))
            for failure in failures:
                print("  " + failure.replace("\n", "\n  "))
        else:
            print("ok   %s" % case["name"])
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
