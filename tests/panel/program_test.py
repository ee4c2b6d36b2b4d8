"""The front panel as a process: program_test.py PROGRAM WINDOW_TESTS [XVFB].

With XVFB it has a display, and so have the tests of the window, which otherwise nobody sees.
"""
import os
import signal
import subprocess
import sys
import unittest

from simulator import Simulator

PROGRAM = sys.argv[1]
WINDOW_TESTS = sys.argv[2]
XVFB = sys.argv[3] if len(sys.argv) > 3 and os.path.exists(sys.argv[3]) else None
ENVIRONMENT = dict(os.environ)


def show_on_display():
    """Starts a display on a free number, and returns it."""
    reading, writing = os.pipe()
    display = subprocess.Popen([XVFB, "-displayfd", str(writing), "-nolisten", "tcp"],
                               pass_fds=[writing], stderr=subprocess.DEVNULL)
    os.close(writing)
    with os.fdopen(reading) as number:
        ENVIRONMENT.update(DISPLAY=":" + number.readline().strip(), QT_QPA_PLATFORM="xcb")
    return display


def run(*arguments):
    return subprocess.run([PROGRAM, *arguments], env=ENVIRONMENT, capture_output=True, text=True,
                          timeout=60, check=False)


class ProgramTest(unittest.TestCase):
    def setUp(self):
        self.panel = Simulator(PROGRAM, env=ENVIRONMENT)
        self.addCleanup(self.panel.kill)

    def test_it_serves_as_the_simulator_does(self):
        with self.panel as panel:
            status, information = panel.ask("GET", "/info")
            self.assertEqual(status, 200)
            self.assertIn(b"PW-000042", information)

    def test_a_signal_ends_it_with_status_0(self):
        with self.panel as panel:
            panel.process.send_signal(signal.SIGTERM)
            self.assertEqual(panel.process.wait(timeout=60), 0)

    def test_a_port_that_is_taken_is_named_and_nothing_is_shown(self):
        with self.panel as panel:
            result = run("--data", panel.data + "-other", "--port", str(panel.port))
            self.assertEqual(result.returncode, 1)
            self.assertIn(f"parlowen-panel: cannot serve on port {panel.port}", result.stderr)

    def test_the_help_needs_no_display_and_has_the_options_of_the_simulator(self):
        environment = {name: value for name, value in ENVIRONMENT.items()
                       if name not in ("DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM")}
        result = subprocess.run([PROGRAM, "--help"], env=environment, capture_output=True,
                                text=True, timeout=60, check=False)
        self.assertEqual(result.returncode, 0, result.stderr)
        for option in ("--data", "--port", "--mode", "--fault", "--serving", "--temporary"):
            self.assertIn(option, result.stdout)

    def test_the_window_shows_on_a_display_what_a_client_does(self):
        result = subprocess.run([WINDOW_TESTS], env=ENVIRONMENT, capture_output=True, text=True,
                                timeout=300, check=False)
        self.assertEqual(result.returncode, 0, result.stdout + result.stderr)

    def test_an_unknown_option_is_refused_with_status_2(self):
        result = run("--colour")
        self.assertEqual(result.returncode, 2)
        self.assertIn("parlowen-panel: Unknown option 'colour'", result.stderr)

    def test_a_temporary_device_goes_with_the_window(self):
        process = subprocess.Popen([PROGRAM, "--temporary", "--port", "0"], env=ENVIRONMENT,
                                   stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        self.addCleanup(process.stdout.close)
        address = process.stdout.readline().split()[-1]
        process.terminate()
        self.assertEqual(process.wait(timeout=60), 0)
        self.assertTrue(address.startswith("http://127.0.0.1:"))


if __name__ == "__main__":
    ENVIRONMENT["QT_QPA_PLATFORM"] = "offscreen"
    DISPLAY = show_on_display() if XVFB else None
    try:
        unittest.main(argv=sys.argv[:1])
    finally:
        if DISPLAY:
            DISPLAY.terminate()
            DISPLAY.wait()
