"""End-to-end cases of `loom run` and `loom check`, rows of the same table as run_cli_tests.py.

Besides the fields of that table a row may give expect_files (file name -> exact content after
the run), absent_files (names that must not exist afterwards, nor their ".partial"), stdin_steps
(chunks written to standard input one after another, each followed by a wait until a file
holds a text: the proof that blocks are processed as they arrive) and stderr_regex.
"""

import io
import struct
import wave


def wav_bytes(rate, frames):
    """A 16-bit PCM WAV file; frames is a list of tuples, one sample per channel."""
    out = io.BytesIO()
    with wave.open(out, "wb") as w:
        w.setnchannels(len(frames[0]))
        w.setsampwidth(2)
        w.setframerate(rate)
        w.writeframes(b"".join(struct.pack("<%dh" % len(f), *f) for f in frames))
    return out.getvalue()


def mat_bytes(variables):
    """A level-5 MAT file of real double row vectors, name -> list of numbers."""
    def element(kind, payload):
        padding = (8 - len(payload) % 8) % 8
        return struct.pack("<II", kind, len(payload)) + payload + b"\0" * padding

    out = b"MATLAB 5.0 MAT-file, written by the loom tests".ljust(116, b" ")
    out += b"\0" * 8 + struct.pack("<H", 0x0100) + b"IM"
    for name, values in variables.items():
        body = element(6, struct.pack("<II", 6, 0))  # flags: a double array
        body += element(5, struct.pack("<ii", 1, len(values)))
        body += element(1, name.encode())
        body += element(9, struct.pack("<%dd" % len(values), *values))
        out += element(14, body)
    return out


def panel(prefix="", general=None, inputs=(), expressions=(), origins=(), outputs=(),
          events=()):
    """A panel's settings block; with prefix "NAME:" its sections stand inline in a worksheet."""
    lines = ["[%sGeneral]" % prefix]
    lines += ["%s=%s" % item for item in (general or {}).items()]

    def listing(section, items):
        lines.append("[%s%s]" % (prefix, section))
        lines.append("Count=%d" % len(items))
        lines.extend("%d=%s" % (i, item) for i, item in enumerate(items))

    listing("InputVariables", inputs)
    listing("Expressions", expressions)
    listing("ChannelOrigins", origins)
    lines += ["[%sOutputDataChannels]" % prefix, "Count=%d" % len(outputs)]
    for i, (origin, name) in enumerate(outputs):
        lines += ["%d.Origin=%s" % (i, origin), "%d.Name=%s" % (i, name)]
    lines += ["[%sUserEvents]" % prefix, "Count=%d" % len(events)]
    for i, (ident, name) in enumerate(events):
        lines += ["%d.ID=%d" % (i, ident), "%d.userName=%s" % (i, name)]
    return "\n".join(lines) + "\n"


EVERY_BLOCK = {"ImmediateEvaluation": 1, "EvaluateImmediately": 1}

# Per block: a counter, the block's size and sum, its time axis and the samples times ten (a
# vector channel); the Exit section reads dt, measured on the host's clock.
BLOCKS_PANEL = panel(
    general=dict(EVERY_BLOCK, InitializationEndIndex=1, ExitStartIndex=8),
    inputs=["x"],
    expressions=["k := 0", "k := k + 1", "n := VectorGetSize(x)", "s := VectorGetSum(x)",
                 "ts := timestart", "tl := timelength", "last := VectorGetLastValue(TimeChannel)",
                 "v := x * 10", "d := dt"],
    origins=["recorder.x"],
    outputs=[("k", "k"), ("n", "n"), ("s", "s"), ("ts", "ts"), ("tl", "tl"), ("last", "last"),
             ("d", "d"), ("v", "x10")])
FIVE_ROWS = "time,x\n0,1\n0.1,2\n0.2,3\n0.3,4\n0.4,5\n"
# d stays 0 until the Exit section runs at the end of the data: the clock then reads 2 s (the
# duration), 1.5 s after the last cycle started at the end of the last block (0.5 s). Finishing
# sends the outputs once more.
BLOCKS_OUTPUT = ("time,k,n,s,ts,tl,last,d,x10\n"
                 "0,1,2,3,0,0.2,0.1,0,10\n0.1,,,,,,,,20\n"
                 "0.2,2,2,7,0.2,0.2,0.3,0,30\n0.3,,,,,,,,40\n"
                 "0.4,3,0,5,0.4,0.09999999999999998,0.4,0,50\n"
                 "0.4,3,0,5,0.4,0.09999999999999998,0.4,1.5,50\n")

# A panel that appends each block's first value to a file as the block is processed.
STREAM_PANEL = panel(general=EVERY_BLOCK, inputs=["x"],
                     expressions=['h := FileAppend("seen.txt")',
                                  'FileWriteStringLn(h, Format("0", x))', "FileClose(h)"],
                     origins=["sensor.x"])

CHAIN_WORKSHEET = """[Source:recorder]
File=data.csv
Block=2
[Panel:scale]
[scale:General]
ImmediateEvaluation=1
[scale:InputVariables]
Count=1
0=x
[scale:Expressions]
Count=1
0=y := x * 2
[scale:ChannelOrigins]
Count=1
0=recorder.x
[scale:OutputDataChannels]
Count=1
0.Origin=y
0.Name=doubled
[Panel:total]
Settings=total.ini
[Sink:out]
File=out/chain.csv
Channels=total.sum
"""
TOTAL_PANEL = panel(general=EVERY_BLOCK, inputs=["y"], expressions=["sum := VectorGetSum(y)"],
                    origins=["scale.doubled"], outputs=[("sum", "sum")])

# watch's result drives show's property "level"; its user event Trip runs show's "Evaluate".
# The panel fires a cycle's events before it drives its controls, so show sees the level of the
# cycle before.
LINKS_WORKSHEET = """[Source:plant]
File=data.csv
Block=1
[Panel:watch]
Settings=watch.ini
[Panel:show]
Settings=show.ini
[Sink:shown]
File=shown.csv
Channels=show.level
[Links]
show.level = watch
show.Action = Evaluate on watch.Trip
"""
WATCH_PANEL = panel(general=EVERY_BLOCK, inputs=["x"],
                    expressions=["If(x > 2)", 'FireEvent(USEREVENT_TRIP, "x is " + Format("0", x))',
                                 "EndIf", "x * 10"],
                    origins=["plant.x"], events=[(1000, "Trip")])
SHOW_PANEL = panel(general={"EvaluateImmediately": 1}, inputs=["level"],
                   expressions=["lv := level"], outputs=[("lv", "level")])

# alarm drives fan's property "speed" with its presets, only when its result changes; fan has
# no input channel, so it is executed with every block and shows the speed it was given.
BOOLEAN_WORKSHEET = """[Source:plant]
File=data.csv
Block=1
[Panel:alarm]
[alarm:General]
ImmediateEvaluation=1
EvaluateImmediately=1
BooleanResult=1
OnlyBooleanChanges=1
[alarm:InputVariables]
Count=1
0=x
[alarm:Expressions]
Count=1
0=x > 2
[alarm:ChannelOrigins]
Count=1
0=plant.x
[Panel:fan]
[fan:General]
ImmediateEvaluation=1
EvaluateImmediately=1
[fan:InputVariables]
Count=1
0=speed
[fan:Expressions]
Count=1
0=s := speed
[fan:OutputDataChannels]
Count=1
0.Origin=s
0.Name=speed
[Sink:fan]
File=fan.csv
Channels=fan.speed
[Links]
fan.speed = alarm ? 100 : 0
"""

QUIET_PANEL = panel(general=EVERY_BLOCK, inputs=["x"],
                    expressions=["EnableOutput := x <> 3", "y := x"], origins=["plant.x"],
                    outputs=[("y", "y")])

# Cycles on the panel's evaluation thread, each slower than the host delivers blocks: the host
# drains every result (message 9216) before it stops the panel.
ASYNC_PANEL = panel(general={"ImmediateEvaluation": 1, "evaluateAsynchronously": 1},
                    inputs=["x"], expressions=["Wait(30)", "s := VectorGetSum(x)"],
                    origins=["plant.x"], outputs=[("s", "s")])

ERROR_PANEL = panel(general=EVERY_BLOCK, inputs=["x"],
                    expressions=["v := x + [1, 2, 3]", "n := VectorGetSize(v)"],
                    origins=["plant.x"], outputs=[("n", "n")])

# Initialization waits 100 ms, which the clock at 1000 x real time counts as 100 s: the panel
# asks the host to stop, and the endless loop after the wait ends because no jump is taken then.
WATCHDOG_WORKSHEET = """[Worksheet]
Duration=5
Pacing=realtime
Speed=1000
[Source:gen]
Generator=sine
Rate=100
[Panel:slow]
[slow:General]
ImmediateEvaluation=1
InitializationEndIndex=4
[slow:Expressions]
Count=5
0=Wait(100)
1=While(1)
2=i := 1
3=Wend
4=2
"""

# A panel that runs a cycle on every line from a serial port (a pseudo-terminal here): the
# worksheet's [Ports] section makes it port 0, and real-time pacing keeps the loop running.
SERIAL_WORKSHEET = """[Worksheet]
Duration=1.5
Pacing=realtime
[Ports]
0={pty}
[Panel:reader]
[reader:General]
EvaluateImmediately=1
[reader:Expressions]
Count=2
0=line := Trim(SerialInput)
1=n := StrLen(line)
[reader:OutputDataChannels]
Count=1
0.Origin=n
0.Name=length
[reader:Serial IO]
Parameter=0,9600,8,0,0,0
EOL sequence="\\n"
InputOperationMode=2
[Sink:lengths]
File=lengths.csv
Channels=reader.length
"""

# Four generators of one period sampled 4 times, written side by side (their rows share the
# time axis, so each row holds all four), with a decimal comma.
GENERATORS_WORKSHEET = "[Worksheet]\nDuration=1\nPacing=fast\n" + "".join(
    "[Source:%s]\nGenerator=%s\nRate=4\nBlock=4\nAmplitude=2\nOffset=1\n" % (shape, shape)
    for shape in ("sine", "square", "triangle", "ramp")) + """[Panel:idle]
[idle:Expressions]
Count=0
[Sink:shapes]
File=shapes.csv
Channels=sine.signal, square.signal, triangle.signal, ramp.signal
DecimalComma=1
"""

CHECK_PANEL = panel(general={"InitializationEndIndex": 1, "ExitStartIndex": 3}, inputs=["x", "gain"],
                    expressions=["total := 0", "total := total + x * gain", '"sum " + Format("0.0", total)',
                                 "done := [1, 2, 3, 4, 5, 6, 7]"],
                    origins=["rec.x"], outputs=[("total", "Total")])
CHECK_SYSTEM = ("System variables:\ndt, Type: floating point number\nt, Type: floating point number\n"
                "timelength, Type: floating point number\ntimestart, Type: floating point number\n"
                "ControlOutput, Type: string or floating point number\n"
                "EnableOutput, Type: string or floating point number\nTimeChannel, Type: vector\n"
                "StringInput, Type: string\nSerialInput, Type: string\n"
                "SerialInputMode, Type: floating point number\n"
                "SerialInputCount, Type: floating point number\n"
                "SerialInputEOLSequence, Type: string\nSerialInputTrigger, Type: boolean\n")
SEPARATOR = "------------------------------------\n"
CHECK_HEAD = ("External variables:\nControl channels:\ngain, Type: floating point number\n"
              "Datasource input channels:\nx, Type: floating point number or vector\n"
              "Datasource output channels:\ntotal, Type: floating point number or vector\n" +
              CHECK_SYSTEM)

SUMMARY_LINE = r"^run \S+: [0-9.e+-]+ s of data in [0-9.e+-]+ s .*fast pacing\n"


def bad_worksheet(name, text, message, files=None):
    """A worksheet with a mistake: exit status 2, the message, and no output file."""
    files = dict(files or {}, **{"bad.ini": text, "data.csv": FIVE_ROWS,
                                 "total.ini": TOTAL_PANEL})
    return dict(name=name, args=["run", "bad.ini", "--events", "events.jsonl"], files=files,
                stdout="", stderr=message, status=2,
                absent_files=["out/chain.csv", "events.jsonl"])


# The sums of two channels per block.
SUMS_PANEL = panel(general=EVERY_BLOCK, inputs=["a", "b"],
                   expressions=["sa := VectorGetSum(a)", "sb := VectorGetSum(b)"],
                   origins=["rec.left", "rec.right"], outputs=[("sa", "a"), ("sb", "b")])

# A worksheet over one recording, as `loom batch` runs it on many: per block the sum, and the
# event Big when it passes 5.
BATCH_WORKSHEET = """[Worksheet]
Events=events.jsonl
[Source:rec]
File=a.csv
Block=2
[Panel:p]
Settings=big.ini
[Sink:out]
File=sums.csv
Channels=p.sum
"""
BIG_PANEL = panel(general=EVERY_BLOCK, inputs=["x"],
                  expressions=["s := VectorGetSum(x)", "If(s > 5)",
                               'FireEvent(USEREVENT_BIG, "sum " + Format("0", s))', "EndIf"],
                  origins=["rec.x"], outputs=[("s", "sum")], events=[(1000, "Big")])
BATCH_FILES = {"w.ini": BATCH_WORKSHEET, "big.ini": BIG_PANEL, "a.csv": FIVE_ROWS,
               "in/c.csv": "time,x\n0,5\n0.1,6\n0.2,7\n", "bad.csv": "time,x\n0,1\n0.1,two\n"}
BATCH_TABLE_HEAD = r"  file +status  samples +seconds  samples/s\n"

CASES = [
    # --- one panel on a file ---
    dict(name="run_panel_on_wav_keeps_integer_samples",
         args=["run", "sums.ini", "--input", "in.wav", "--block", "2", "--output", "out.csv",
               "--quiet"],
         files={"sums.ini": SUMS_PANEL,
                "in.wav": wav_bytes(4, [(1, -100), (2, -200), (32767, -32768)])},
         # a WAV file has no channel names: channels match the origins by order
         expect_files={"out.csv": "time,a,b\n0,3,-300\n0.5,32767,-32768\n0.5,32767,-32768\n"},
         stdout="", stderr="", status=0),
    dict(name="run_panel_on_mat_variables",
         args=["run", "sums.ini", "--input", "in.mat", "--block", "3", "--output", "out.csv",
               "--quiet"],
         files={"sums.ini": SUMS_PANEL,
                "in.mat": mat_bytes({"fs": [10], "right": [1, 2, 3, 4], "left": [0.5, 1, 1, 1]})},
         expect_files={"out.csv": "time,a,b\n0,2.5,6\n0.30000000000000004,1,4\n"
                                  "0.30000000000000004,1,4\n"},
         stdout="", stderr="", status=0),
    dict(name="run_panel_blocks_time_axis_and_dt",
         args=["run", "blocks.ini", "--input", "data.csv", "--block", "2", "--duration", "2",
               "--output", "out.csv", "--quiet"],
         files={"blocks.ini": BLOCKS_PANEL, "data.csv": FIVE_ROWS},
         expect_files={"out.csv": BLOCKS_OUTPUT}, stdout="", stderr="", status=0),
    dict(name="run_panel_summary",
         args=["run", "blocks.ini", "--input", "data.csv", "--block", "2"],
         files={"blocks.ini": BLOCKS_PANEL, "data.csv": FIVE_ROWS},
         stdout_regex=SUMMARY_LINE + r"panel blocks: 3 cycles; cycle time median .* ms, p99 .* ms, "
                      r"max .* ms \(block period 200 ms\)\n  errors: none\n"
                      r"  events: After evaluation 4, Before evaluation 4\n$",
         stderr="", status=0),
    dict(name="run_panel_decimal_comma_without_header",
         args=["run", "blocks.ini", "--input", "data.csv", "--rate", "10", "--block", "5",
               "--output", "out.csv", "--quiet"],
         files={"blocks.ini": BLOCKS_PANEL, "data.csv": "1,5;2\n2,5;3\n"},
         stdout="", stderr="", status=0,
         expect_files={"out.csv": "time,k,n,s,ts,tl,last,d,x10\n"
                                  "0,1,2,4,0,0.2,0.1,0,15\n0.1,,,,,,,,25\n"
                                  "0,1,2,4,0,0.2,0.1,0,15\n0.1,,,,,,,,25\n"}),
    dict(name="run_panel_streams_standard_input",
         args=["run", "stream.ini", "--input", "-", "--block", "1", "--quiet"],
         files={"stream.ini": STREAM_PANEL},
         stdin_steps=[("time,x\n0,7\n", "seen.txt", "7\r\n"),
                      ("0.1,8\n", "seen.txt", "7\r\n8\r\n")],
         expect_files={"seen.txt": "7\r\n8\r\n"}, stdout="", stderr="", status=0, max_seconds=20),
    dict(name="run_panel_needs_input", args=["run", "blocks.ini"],
         files={"blocks.ini": BLOCKS_PANEL}, stdout="",
         stderr='blocks.ini holds a panel\'s settings: give its data with --input FILE ("-" reads '
                'standard input)\n', status=2),
    dict(name="run_panel_origin_matches_no_column",
         args=["run", "blocks.ini", "--input", "data.csv", "--output", "out.csv"],
         files={"blocks.ini": BLOCKS_PANEL, "data.csv": "time,y\n0,1\n"}, stdout="",
         stderr='blocks.ini:22: [ChannelOrigins] 0: "recorder.x" matches no channel of data.csv '
                '(its channels: y)\n', status=2, absent_files=["out.csv"]),
    dict(name="run_bad_data_leaves_no_output",
         args=["run", "blocks.ini", "--input", "data.csv", "--block", "1", "--output", "out.csv",
               "--events", "events.jsonl"],
         files={"blocks.ini": BLOCKS_PANEL, "data.csv": "time,x\n0,1\n0.1,2\n0.2,two\n"},
         stdout="", stderr='data.csv:4: column 2 ("x"): "two" is not a number\n', status=2,
         absent_files=["out.csv", "events.jsonl"]),
    # --- worksheets ---
    dict(name="run_chain_of_two_panels", args=["run", "chain.ini", "--quiet"],
         files={"chain.ini": CHAIN_WORKSHEET, "total.ini": TOTAL_PANEL, "data.csv": FIVE_ROWS},
         # The last two rows: total's cycle on scale's Exit outputs, then total's own Exit.
         expect_files={"out/chain.csv": "time,total.sum\n0,6\n0.2,14\n0.4,10\n0.4,10\n0.4,10\n"},
         stdout="", stderr="", status=0),
    dict(name="run_control_link_and_event_action",
         args=["run", "links.ini", "--events", "events.jsonl", "--quiet"],
         files={"links.ini": LINKS_WORKSHEET, "watch.ini": WATCH_PANEL, "show.ini": SHOW_PANEL,
                "data.csv": FIVE_ROWS},
         expect_files={
             # Three trips, each showing the level of the cycle before; then show's Exit. The
             # rows stand at 0 s: show has no input channel to give it a time axis.
             "shown.csv": "time,show.level\n0,20\n0,30\n0,40\n0,40\n",
             # An event carries the end of the block that raised it.
             "events.jsonl":
                 '{"time":0.3,"panel":"watch","index":1000,"name":"Trip","text":"x is 3"}\n'
                 '{"time":0.4,"panel":"watch","index":1000,"name":"Trip","text":"x is 4"}\n'
                 '{"time":0.5,"panel":"watch","index":1000,"name":"Trip","text":"x is 5"}\n'},
         stdout="", stderr="", status=0),
    dict(name="run_boolean_result_drives_property", args=["run", "bool.ini"],
         files={"bool.ini": BOOLEAN_WORKSHEET, "data.csv": FIVE_ROWS},
         # Results 0, 0, 1, 1, 1 and the Exit section's 0: the controls are driven on the
         # first result and on each change; the changed events fire on those alone.
         expect_files={"fan.csv": "time,fan.speed\n0,0\n0,0\n0,100\n0,100\n0,100\n0,100\n"},
         stdout_lines=['  events: After evaluation 6, Before evaluation 6, Result changed to '
                       '"false" 2, Result changed to "true" 1, Result is "false" 3, '
                       'Result is "true" 3'],
         stderr="", status=0),
    dict(name="run_enable_output_zero_silences_a_cycle",
         args=["run", "quiet.ini", "--input", "data.csv", "--block", "1", "--output", "out.csv",
               "--events", "events.jsonl", "--all-events", "--quiet"],
         files={"quiet.ini": QUIET_PANEL, "data.csv": FIVE_ROWS},
         expect_files={
             # The cycle of x = 3 fires no "After evaluation", the next one no "Before
             # evaluation"; its data channel still goes out (only an evaluation thread's result
             # with EnableOutput 0 sends none).
             "out.csv": "time,y\n0,1\n0.1,2\n0.2,3\n0.3,4\n0.4,5\n0.4,5\n",
             "events.jsonl": "".join(
                 '{"time":%s,"panel":"quiet","index":%d,"name":"%s","text":""}\n' % (t, i, n)
                 for t, i, n in [("0.1", 2, "Before evaluation"), ("0.1", 3, "After evaluation"),
                                 ("0.2", 2, "Before evaluation"), ("0.2", 3, "After evaluation"),
                                 ("0.3", 2, "Before evaluation"),
                                 ("0.4", 3, "After evaluation"),
                                 ("0.5", 2, "Before evaluation"), ("0.5", 3, "After evaluation"),
                                 ("0.5", 2, "Before evaluation"), ("0.5", 3, "After evaluation")])},
         stdout="", stderr="", status=0),
    dict(name="run_asynchronous_panel_results_all_arrive",
         args=["run", "async.ini", "--input", "data.csv", "--block", "1", "--output", "out.csv"],
         files={"async.ini": ASYNC_PANEL, "data.csv": FIVE_ROWS},
         expect_files={"out.csv": "time,s\n0,1\n0.1,2\n0.2,3\n0.3,4\n0.4,5\n0.4,5\n"},
         stdout_regex=r"\npanel async: 5 cycles;", stderr="", status=0),
    dict(name="run_evaluation_error_is_logged_and_the_run_goes_on",
         args=["run", "error.ini", "--input", "data.csv", "--block", "3", "--output", "out.csv",
               "--events", "events.jsonl"],
         files={"error.ini": ERROR_PANEL, "data.csv": FIVE_ROWS},
         expect_files={
             "out.csv": "time,n\n0,3\n0.3,3\n0.3,3\n",
             "events.jsonl": '{"time":0.5,"panel":"error","index":1,"name":"Evaluation error",'
                             '"text":"Error while evaluating \\"v := x + [1, 2, 3]\\""}\n'},
         stdout_lines=['  errors: "Error while evaluating "v := x + [1, 2, 3]"" 1'],
         stderr="", status=0),
    dict(name="run_watchdog_stops_a_runaway_initialization",
         args=["run", "slow.ini", "--events", "events.jsonl", "--quiet"],
         files={"slow.ini": WATCHDOG_WORKSHEET},
         stdout="",
         stderr='stopped early: the panel "slow" asked the host to stop: a section ran longer '
                'than 60 s\n', status=3, max_seconds=20),
    dict(name="run_serial_lines_trigger_cycles", args=["run", "serial.ini"],
         files={"serial.ini": SERIAL_WORKSHEET}, pty_input=[b"hello\n", b"hi\n"],
         expect_files={"lengths.csv": "time,reader.length\n0,5\n0,2\n0,2\n"},
         stdout_lines=["  events: After evaluation 3, Before evaluation 3, Serial input "
                       "trigger processed 2"],
         stderr="", status=0, max_seconds=20),
    dict(name="run_generators_shapes", args=["run", "shapes.ini", "--quiet"],
         files={"shapes.ini": GENERATORS_WORKSHEET},
         expect_files={"shapes.csv": "time;sine.signal;square.signal;triangle.signal;ramp.signal\n"
                                     "0;1;3;-1;-1\n0,25;3;3;1;0\n"
                                     "0,5;1,0000000000000002;-1;3;1\n0,75;-1;-1;1;2\n"},
         stdout="", stderr="", status=0),
    # --- replay ---
    dict(name="run_machine_example_matches_its_recording",
         args=["run", "{examples}/machine/machine.ini", "--output-dir", "out", "--quiet",
               "--expect", "{examples}/machine/expected"],
         stdout_regex=r"^--expect: the run matches the recording in .*machine/expected\n$",
         stderr="", status=0),
    dict(name="run_expect_matches_the_recording",
         args=["run", "chain.ini", "--quiet", "--expect", "recorded"],
         files={"chain.ini": CHAIN_WORKSHEET, "total.ini": TOTAL_PANEL, "data.csv": FIVE_ROWS,
                "recorded/total.csv": "time,sum\n0,6.000000001\n0.2,14\n0.4,10\n0.4,10\n"
                                      "0.4,10\n",
                "recorded/scale.csv": "time,doubled\n0,2\n0.1,4\n0.2,6\n0.3,8\n0.4,10\n"
                                      "0.4,10\n",
                "recorded/events.jsonl": ""},
         stdout="--expect: the run matches the recording in recorded\n", stderr="", status=0),
    dict(name="run_expect_catches_a_changed_output",
         args=["run", "chain.ini", "--quiet", "--expect", "recorded"],
         files={"chain.ini": CHAIN_WORKSHEET.replace("y := x * 2", "y := x * 2.001"),
                "total.ini": TOTAL_PANEL, "data.csv": FIVE_ROWS,
                "recorded/total.csv": "time,sum\n0,6\n0.2,14\n0.4,10\n0.4,10\n0.4,10\n",
                "recorded/scale.csv": "time,doubled\n0,2\n0.1,4\n0.2,6\n0.3,8\n0.4,10\n"
                                      "0.4,10\n",
                "recorded/events.jsonl": ""},
         stdout="",
         stderr_regex=r"^--expect: this run differs from the recording in recorded \(numbers "
                      r"compared within a relative tolerance of 1e-09\):\n"
                      r"  scale.csv: row 1, column \"doubled\": recorded 2, now 2.001\n"
                      r"(.*\n)*  total.csv: row 1, column \"sum\": recorded 6, now 6.003\n",
         status=1),
    dict(name="run_record_writes_outputs_and_events",
         args=["run", "error.ini", "--input", "data.csv", "--block", "3", "--record", "rec",
               "--quiet"],
         files={"error.ini": ERROR_PANEL, "data.csv": FIVE_ROWS},
         expect_files={"rec/error.csv": "time,n\n0,3\n0.3,3\n0.3,3\n",
                       "rec/events.jsonl": '{"time":0.5,"panel":"error","index":1,"name":'
                                           '"Evaluation error","text":"Error while evaluating '
                                           '\\"v := x + [1, 2, 3]\\""}\n'},
         stdout="", stderr="", status=0),
    # --- batch ---
    dict(name="batch_matches_single_runs_and_reports_failures",
         args=["batch", "w.ini", "a.csv", "bad.csv", "in/c.csv", "gone.csv", "--out", "out",
               "-j", "2"],
         files=BATCH_FILES,
         stdout_regex=r"^batch w.ini: 4 files in \S+ s, 2 done, 2 failed; \S+ samples/s\n" +
                      BATCH_TABLE_HEAD + r"  a.csv +done +5 .*\n"
                      r"  bad.csv +failed  bad.csv:3: column 2 \(\"x\"\): \"two\" is not a "
                      r"number\n  in/c.csv +done +3 .*\n  gone.csv +failed  --source rec: the file "
                      r"\"gone.csv\" does not exist\n$",
         also_run=[["run", "w.ini", "--source", "rec=a.csv", "--output-dir", "one/a"],
                   ["run", "w.ini", "--source", "REC=in/c.csv", "--output-dir", "one/c"]],
         same_files=[("out/a/sums.csv", "one/a/sums.csv"),
                     ("out/a/events.jsonl", "one/a/events.jsonl"),
                     ("out/c/sums.csv", "one/c/sums.csv"),
                     ("out/c/events.jsonl", "one/c/events.jsonl")],
         expect_files={"out/c/events.jsonl":
                       '{"time":0.2,"panel":"p","index":1000,"name":"Big","text":"sum 11"}\n'
                       '{"time":0.3,"panel":"p","index":1000,"name":"Big","text":"sum 7"}\n'},
         absent_files=["out/bad/sums.csv", "out/bad/events.jsonl"], stderr="", status=1),
    dict(name="batch_panel_settings_like_run_with_input",
         args=["batch", "sums.ini", "a.wav", "b.wav", "--out", "out", "--block", "2"],
         files={"sums.ini": SUMS_PANEL, "a.wav": wav_bytes(4, [(1, -1), (2, -2), (3, -3)]),
                "b.wav": wav_bytes(4, [(7, 0), (8, 1)])},
         stdout_regex=r"^batch sums.ini: 2 files in \S+ s, 2 done, 0 failed; \S+ samples/s\n" +
                      BATCH_TABLE_HEAD + r"  a.wav +done +6 .*\n  b.wav +done +4 .*\n$",
         also_run=[["run", "sums.ini", "--input", "b.wav", "--block", "2", "--output", "b.csv",
                    "--events", "b.jsonl"]],
         same_files=[("out/b/sums.csv", "b.csv"), ("out/b/events.jsonl", "b.jsonl")],
         expect_files={"out/a/sums.csv": "time,a,b\n0,3,-3\n0.5,3,-3\n0.5,3,-3\n"},
         stderr="", status=0),
    dict(name="batch_worksheet_of_several_files_needs_source",
         args=["batch", "machine.ini", "a.wav", "--out", "out"],
         files={"machine.ini": "[Source:v]\nFile=v.wav\n[Source:t]\nFile=t.csv\n[Panel:p]\n"},
         stdout="", stderr="machine.ini reads several files (v, t): name the source each file "
                           "replaces with --source NAME\n", status=2),
    dict(name="batch_unknown_source", args=["batch", "w.ini", "a.csv", "--out", "o",
                                            "--source", "ghost"],
         files=BATCH_FILES, stdout="",
         stderr="--source ghost: w.ini has no file source of that name (its file sources: rec)\n",
         status=2),
    dict(name="batch_two_files_one_folder", args=["batch", "w.ini", "a.csv", "in/a.csv", "--out",
                                                  "o"],
         files=BATCH_FILES, stdout="",
         stderr="batch: a.csv and in/a.csv would both write to o/a; rename one of them\n",
         status=2),
    dict(name="run_source_names_no_source",
         args=["run", "w.ini", "--source", "ghost=a.csv"], files=BATCH_FILES, stdout="",
         stderr="--source ghost: w.ini has no [Source:ghost] (its sources: rec)\n", status=2),
    dict(name="run_source_of_a_generator",
         args=["run", "shapes.ini", "--source", "sine=a.csv"],
         files={"shapes.ini": GENERATORS_WORKSHEET}, stdout="",
         stderr="--source sine: the source is a generator; only a file source reads another "
                "file\n", status=2),
    # --- command lines that cannot run ---
    dict(name="run_worksheet_takes_no_input", args=["run", "chain.ini", "--input", "data.csv"],
         files={"chain.ini": CHAIN_WORKSHEET, "data.csv": FIVE_ROWS}, stdout="",
         stderr="--input: chain.ini is a worksheet: its [Source:] and [Sink:] sections name the "
                "data\n", status=2),
    dict(name="run_output_needs_a_file_name",
         args=["run", "blocks.ini", "--input", "data.csv", "--output", "-"],
         files={"blocks.ini": BLOCKS_PANEL, "data.csv": FIVE_ROWS}, stdout="",
         stderr="--output: give a file name; standard output carries the summary\n", status=2),
    dict(name="run_record_excludes_expect",
         args=["run", "x.ini", "--record", "a", "--expect", "b"],
         stdout="", stderr="--record excludes --expect\nRun with --help for more information.\n",
         status=64),
    dict(name="check_missing_file", args=["check", "none.ini"], stdout="",
         stderr="cannot read none.ini: No such file or directory\n", status=1),
    # --- worksheets with mistakes ---
    bad_worksheet("run_worksheet_unknown_panel",
                  CHAIN_WORKSHEET.replace("0=recorder.x", "0=ghost.x"),
                  'bad.ini:15: [scale:ChannelOrigins] 0: "ghost" is neither a source nor a '
                  'panel of bad.ini\n'),
    bad_worksheet("run_worksheet_missing_file", CHAIN_WORKSHEET.replace("data.csv", "gone.csv"),
                  'bad.ini:2: [Source:recorder] File: the file "gone.csv" does not exist\n'),
    bad_worksheet("run_worksheet_cycle_of_panels",
                  CHAIN_WORKSHEET.replace("0=recorder.x", "0=total.sum"),
                  "bad.ini:4: [Panel:scale] the panels feed each other's channels in a cycle: "
                  "scale -> total -> scale\n"),
    bad_worksheet("run_worksheet_wrong_type", CHAIN_WORKSHEET.replace("Block=2", "Block=two"),
                  'bad.ini:3: [Source:recorder] Block: "two" is not a whole number of 0 or more\n'),
    bad_worksheet("run_worksheet_wrong_panel_setting",
                  CHAIN_WORKSHEET.replace("ImmediateEvaluation=1", "ImmediateEvaluation=yes"),
                  'bad.ini:6: [scale:General] ImmediateEvaluation: "yes" is not a boolean '
                  '(1 or 0)\n'),
    bad_worksheet("run_worksheet_unknown_key", CHAIN_WORKSHEET.replace("Block=2", "Blocks=2"),
                  "bad.ini:3: [Source:recorder] Blocks: unknown key (this section knows File, "
                  "Generator, Block, Rate, Channels, Normalize, Amplitude, Frequency, Offset, "
                  "Phase, Seed, Channel)\n"),
    bad_worksheet("run_worksheet_unknown_link_target",
                  CHAIN_WORKSHEET + "[Links]\nnobody.x = scale\n",
                  'bad.ini:26: [Links] nobody.x: the target "nobody" is no panel of the '
                  'worksheet\n'),
    bad_worksheet("run_worksheet_unknown_sink_channel",
                  CHAIN_WORKSHEET.replace("Channels=total.sum", "Channels=total.mean"),
                  'bad.ini:24: [Sink:out] Channels: the panel "total" has no output channel '
                  '"mean" (its output channels: sum)\n'),
    bad_worksheet("run_worksheet_unknown_event",
                  CHAIN_WORKSHEET + "[Links]\ntotal.Action = Evaluate on scale.Overflow\n",
                  'bad.ini:26: [Links] total.Action: the panel "scale" offers no event "Overflow" '
                  '(its events: Expression error, Evaluation error, Before evaluation, After '
                  'evaluation, Result is "true", Result is "false", Result changed to "true", '
                  'Result changed to "false", Serial input trigger processed, Serial output '
                  'done, Invalid datatype in data channel)\n'),
    bad_worksheet("run_worksheet_inline_section_of_no_panel",
                  CHAIN_WORKSHEET + "[totl:General]\nImmediateEvaluation=1\n",
                  "bad.ini:25: [totl:General] no [Panel:totl] declares the panel these settings "
                  "belong to\n"),
    bad_worksheet("run_worksheet_generator_needs_duration",
                  "[Source:g]\nGenerator=sine\n[Panel:p]\n[p:Expressions]\nCount=0\n",
                  "bad.ini: [Worksheet] Duration: a worksheet with generators needs the run's "
                  "length in seconds (Duration=10)\n"),
    # --- check ---
    dict(name="check_valid_panel", args=["check", "panel.ini"], files={"panel.ini": CHECK_PANEL},
         stdout=(CHECK_HEAD + SEPARATOR + "Initialization:\ntotal := 0\nExpression is valid.\n" +
                 SEPARATOR + "Exit:\ndone := [1, 2, 3, 4, 5, 6, 7]\nExpression is valid.\n" +
                 SEPARATOR + "Expressions:\ntotal := total + x * gain\n\"sum \" + "
                 "Format(\"0.0\", total)\nExpression is valid.\n"
                 "Evaluation result was a string: sum 0.0\n" + SEPARATOR +
                 "Automatically generated internal variables:\ndone, Type: Vector\n"),
         stderr="", status=0),
    dict(name="check_invalid_panel", args=["check", "panel.ini"],
         files={"panel.ini": CHECK_PANEL.replace("x * gain", "x * (gain")
                                        .replace("ExitStartIndex=3", "ExitStartIndex=9")
                                        .replace("0=total := 0", "0=If(1)")},
         stdout=("External variables:" + CHECK_HEAD[len("External variables:"):] + SEPARATOR +
                 "Initialization:\nIf(1)\nExpression is valid.\n" + SEPARATOR + "Exit:\n" +
                 "Expression is valid.\n" + SEPARATOR +
                 "Expressions:\ntotal := total + x * (gain\nExpression is invalid, reason is: \n"
                 "Unbalanced brackets\n" + SEPARATOR +
                 "Automatically generated internal variables:\n" + SEPARATOR +
                 "Settings errors:\npanel.ini:3: [General] ExitStartIndex: 9 lies outside 1 .. 4; "
                 "read as 4\npanel.ini:8: [Expressions] Loops or jumps are not matched\n"),
         stderr="", status=1),
]
