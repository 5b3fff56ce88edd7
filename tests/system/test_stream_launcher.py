"""The launcher of streams with a program of ours in place of the pipelines'."""

import itertools
import os
import signal
import subprocess
import tempfile
import time
import unittest
from pathlib import Path

from box import RUNNER, TIMEOUT, Lines, replace_file, run, wait_until

PROGRAMS = Path(os.environ.get("FIELDRELAYBOX_PROGRAMS", "."))
STREAM = [*RUNNER, str(PROGRAMS / "stream")]
SAMPLE = (PROGRAMS / "packaging" / "fieldrelaybox.conf").read_text()
PROGRAM = """#!/bin/sh
{ date +%s.%N; echo $$; printf '%s\\n' "$@"; } > "$0.run.$$.new"
mv "$0.run.$$.new" "$0.run.$(ls "$0".run.* | wc -l)"
. "$0.behaviour"
exec sleep 1000
"""
REFUSED = """echo "ERROR: from element /GstPipeline:pipeline0/GstRtmp2Sink:sink: No connection
Additional debug info:
sink.c(1): connect ():
publishing of $key as live/$key refused
ERROR: pipeline doesn't want to preroll." >&2
"""


def settings(**values: object) -> str:
    text = SAMPLE
    for key, value in values.items():
        line = next(line for line in SAMPLE.splitlines() if line.startswith(f"{key}="))
        text = text.replace(line, f'{key}="{value}"' if isinstance(value, str) else f"{key}={value}")
    return text


def runs(process: int) -> bool:
    try:
        return Path(f"/proc/{process}/stat").read_text().rpartition(")")[2].split()[0] != "Z"
    except FileNotFoundError:
        return False


class StreamLauncher(unittest.TestCase):
    def setUp(self) -> None:
        self.home = Path(self.enterContext(tempfile.TemporaryDirectory(dir="/run")))
        self.program = self.home / "gst-launch-1.0"
        self.program.write_text(PROGRAM)
        self.program.chmod(0o755)
        self.behave("")
        self.target = self.home / "run" / "settings"
        (self.home / "fieldrelaybox.conf").symlink_to("run/settings")
        self.environment = dict(os.environ, PATH=f"{self.home}:{os.environ['PATH']}")

    def behave(self, script: str) -> None:
        replace_file(Path(f"{self.program}.behaviour"), script)

    def write(self, **values: object) -> None:
        self.target.parent.mkdir(exist_ok=True)
        replace_file(self.target, settings(**values))

    def launch(self, kind: str = "tcp") -> None:
        self.process = subprocess.Popen([*STREAM, kind], cwd=self.home, env=self.environment,
                                        stderr=subprocess.PIPE)
        assert self.process.stderr
        self.log = Lines(self.process.stderr)
        self.addCleanup(self.log.join)
        self.addCleanup(self.end, self.process)

    def end(self, process: subprocess.Popen[bytes], signal_number: int = signal.SIGTERM) -> int:
        process.send_signal(signal_number)
        return process.wait(TIMEOUT)

    def run_number(self, number: int) -> tuple[float, int, list[str]]:
        """Time, process and arguments of the program's first, second ... run."""
        path = Path(f"{self.program}.run.{number}")
        wait_until(path.exists, f"run {number} of:\n" + "\n".join(self.log.lines))
        begun, process, *arguments = path.read_text().splitlines()
        return float(begun), int(process), arguments

    def test_a_changed_setting_is_in_effect_after_one_start(self) -> None:
        self.launch("rtmp")
        self.launch()
        waiting = self.log.wait_for("tcp: waits for whole settings in fieldrelaybox.conf")
        self.write(tcp_enabled=1, tcp_port=1111)
        process = self.run_number(1)[1]
        self.log.wait_for("tcp: started")
        self.target.write_text(settings(tcp_enabled=1, tcp_port=2222)[:-40])
        os.kill(process, signal.SIGTERM)  # by name, by whoever wrote
        self.log.wait_for("tcp: waits for whole settings in fieldrelaybox.conf", waiting + 1)
        self.write(tcp_enabled=1, tcp_port=2222)
        self.assertIn("port=2222", self.run_number(2)[2])
        self.log.wait_for("tcp: started anew: its settings changed")
        self.target.write_text(settings(tcp_port=3333)[:-40])
        self.target.write_text("")
        self.write(tcp_enabled=1, tcp_port=2222, rtmp_enabled=1, rtmp_url="rtmp://elsewhere/live/key")
        self.assertIn("rtmp2sink", self.run_number(3)[2])  # by now the other would have ended
        os.kill(self.run_number(2)[1], signal.SIGKILL)
        self.assertIn("port=2222", self.run_number(4)[2])
        self.log.wait_for("tcp: ended by signal 9; started again")

    def test_a_file_is_not_read_while_it_is_written(self) -> None:
        self.write(tcp_enabled=1)
        self.launch()
        for run, replaced in enumerate((False, True), 1):
            process = self.run_number(run)[1]
            if replaced:
                self.target.unlink()
            with self.target.open("w") as file:  # by hand, without the heading that tells its end
                file.write("tcp_enabled=1\ntcp_port=85")
                file.flush()
                os.kill(process, signal.SIGTERM)
                time.sleep(1.5)  # longer than the launcher waits for rest
                file.write(f"{run}0\n")
            self.assertIn(f"port=85{run}0", self.run_number(run + 1)[2])

    def test_where_files_cannot_be_watched_they_are_looked_at(self) -> None:
        if "4294967295" in Path("/proc/self/uid_map").read_text():
            self.skipTest("the limit would be the host's")
        limit = Path("/proc/sys/user/max_inotify_instances")
        self.addCleanup(limit.write_text, limit.read_text())
        limit.write_text("0")
        self.write(tcp_enabled=1, tcp_port=1111)
        self.launch()
        self.run_number(1)
        self.write(tcp_enabled=1, tcp_port=2222)
        self.assertIn("port=2222", self.run_number(2)[2])

    def test_switched_off_or_ended_nothing_is_left(self) -> None:
        self.behave("trap '' TERM")
        self.write(tcp_enabled=1)
        self.launch()
        process = self.run_number(1)[1]
        self.write(tcp_enabled=0)
        self.log.wait_for("tcp: ended: switched off (tcp_enabled=0)")
        self.assertFalse(runs(process))
        for number, signal_number in ((2, signal.SIGTERM), (3, signal.SIGKILL)):
            with self.subTest(signal_number=signal_number):
                self.write(tcp_enabled=1)
                process = self.run_number(number)[1]
                status = self.end(self.process, signal_number)
                self.assertEqual(status, 0 if signal_number == signal.SIGTERM else -signal_number)
                wait_until(lambda: not runs(process), "the program has ended")
                self.launch()

    def test_a_fault_is_told_once_without_secrets_and_tried_again_with_pauses(self) -> None:
        key = "k' e\\y !"
        self.behave(f'key="{key}"\n{REFUSED}exit 1')
        self.write(rtmp_enabled=1, rtmp_url=f"rtmp://server/live/{key}")
        self.launch("rtmp")
        begun = [self.run_number(number)[0] for number in (1, 2, 3)]
        for pause, (first, second) in zip((1, 2), itertools.pairwise(begun)):
            self.assertGreater(second - first, pause)
        self.behave(f'key="{key}"\n{REFUSED}')  # and hangs
        self.assertIn("rtmp: No connection (publishing of *** as ***/*** refused); trying again in 1 s",
                      self.log.lines)
        self.assertEqual(len(self.log.lines), 2, self.log.lines)
        self.write(rtmp_enabled=1, rtmp_url=f"rtmp://elsewhere/live/{key}")  # without the pause of 4 s
        hanging = self.run_number(4)[1]
        self.run_number(5)
        self.assertFalse(runs(hanging))
        self.assertNotIn(key, "\n".join(self.log.lines))

    def test_the_printed_command_is_the_one_that_runs(self) -> None:
        self.write(rtmp_enabled=1, rtmp_url="rtmp://server/$(live)/a 'b' \\ ! key=1;")
        self.launch("rtmp")
        _, process, arguments = self.run_number(1)
        self.assertIn("/$(live)/a 'b' \\\\ ! key=1;", "\n".join(arguments))
        printed = subprocess.run([*STREAM, "rtmp", "--print"], cwd=self.home, capture_output=True,
                                 env=self.environment, check=True, timeout=TIMEOUT).stdout
        self.behave("exit")
        subprocess.run(["sh", "-c", printed], env=self.environment, check=True, timeout=TIMEOUT)
        self.assertEqual(self.run_number(2)[2], arguments)
        self.assertTrue(runs(process))

    def test_only_one_of_source_and_sound_sends_sound_at_a_rate_that_can_be(self) -> None:
        config = self.home / "source.conf"
        config.write_text("url=test:\nsound=test:\n")

        def printed(kind: str) -> tuple[str, str]:
            return run(*STREAM, kind, "--print", "--config", config, cwd=self.home)[1:]
        self.write(audio_enabled=0)
        self.assertIn(" port=4001 ", printed("source")[0])
        for bits, taken in ((0, 64000), (7999, 8000), (8000, 8000), (300000, 256000)):
            self.write(audio_enabled=1, audio_bitrate=bits)
            command, told = printed("sound")
            self.assertIn(f" bitrate={taken} ", command)
            self.assertEqual("audio_bitrate" in told, bits not in (0, taken))
        self.assertIn(" port=5000 ", printed("source")[0])
        self.assertNotIn(" port=4001 ", printed("source")[0])
        config.write_text("sound=test:\nsount=plughw:1\n")
        self.assertIn("line 2 is no url= and no sound=", printed("sound")[1])

    def test_what_is_switched_off_is_not_printed(self) -> None:
        self.write()
        self.assertEqual(run(*STREAM, "tcp", "--print", cwd=self.home),
                         (1, "", "tcp: switched off (tcp_enabled=0)\n"))
