"""A simulated device for the tests of a client: a pytest plugin, and a class for other frameworks.

Run pytest with `-p parlowen_device`, or put that into `addopts` of its configuration. In a test:

    def test_reads_the_device(device):
        answer = urllib.request.urlopen(device.address + "/info")

Each test gets a device of its own on a free port, with the sample content or, with
`--parlowen-golden DIR`, a copy of a folder. When a test fails its report shows the requests that the
device answered. Tests that change nothing may share one with the fixture `shared_device`, which takes
less time. `--parlowen-device PROGRAM` or PARLOWEN_DEVICE names the simulator; otherwise the one
on the PATH is started. `@pytest.mark.device("--empty", "--fault", "no-space")` adds to its command line.
"""
import glob
import os
import subprocess
import tempfile
import threading

try:
    import pytest
except ImportError:  # the class is of use without it
    pytest = None


class Device:
    """A simulator that was started, and answers. `stop` ends it and removes its folder."""

    def __init__(self, *arguments, program="parlowen-device", golden=None):
        command = [program, "--port", "0", "--log-requests=json", *arguments]
        if golden:
            command += ["--from", os.fspath(golden)]
        self._folder = tempfile.TemporaryDirectory(prefix="parlowen-test-")
        self.fault_file = os.path.join(self._folder.name, "faults")
        self._journal = []
        with open(os.path.join(self._folder.name, "errors"), "wb") as errors:
            self.process = subprocess.Popen(
                [*command, "--temporary", "--fault-file", self.fault_file],
                stdout=subprocess.PIPE, stderr=errors, text=True, encoding="utf-8",
                env={**os.environ, "TMPDIR": self._folder.name})
        ready = self.process.stdout.readline()
        if not ready.startswith("listening on "):
            self.process.wait()
            raise RuntimeError(f"the simulator does not start: {self.errors()}")
        self.address = ready.split()[-1]
        self.data = glob.glob(os.path.join(self._folder.name, "parlowen-device-*", "device"))[0]
        self.user_files = os.path.join(self.data, "storage", "userfiles")
        self._reader = threading.Thread(target=self._read, daemon=True)
        self._reader.start()

    def _read(self):
        for line in self.process.stdout:
            self._journal.append(line.rstrip("\n"))

    def journal(self):
        """The requests so far, one line of JSON for each."""
        return list(self._journal)

    def errors(self):
        """What it printed on standard error, one line for each request that failed."""
        with open(os.path.join(self._folder.name, "errors"), encoding="utf-8") as file:
            return file.read()

    def set_faults(self, *faults):
        """Puts these faults in force, instead of those before; see parlowen-device(1)."""
        with open(self.fault_file + ".new", "w", encoding="utf-8") as file:
            file.write("\n".join(faults) + "\n")
        os.replace(self.fault_file + ".new", self.fault_file)

    def stop(self):
        self.process.terminate()
        self.process.wait()
        self._reader.join()
        self.process.stdout.close()
        self._folder.cleanup()


if pytest:

    def pytest_addoption(parser):
        group = parser.getgroup("parlowen")
        group.addoption("--parlowen-device",
                        default=os.environ.get("PARLOWEN_DEVICE", "parlowen-device"),
                        help="the simulator's program")
        group.addoption("--parlowen-golden", help="a folder that each device begins as a copy of")

    def pytest_configure(config):
        config.addinivalue_line("markers", "device(*arguments): adds to the simulator's arguments")

    @pytest.hookimpl(hookwrapper=True)
    def pytest_runtest_makereport(item):
        outcome = yield
        report = outcome.get_result()
        started = getattr(item, "parlowen_device", None)
        if report.when == "call" and report.failed and started:
            report.sections.append(("requests of the device", "\n".join(started.journal())))
            report.sections.append(("errors of the device", started.errors()))

    @pytest.fixture(scope="session")
    def shared_device(request):
        """A simulated device for all tests that only look at it."""
        started = Device(program=request.config.getoption("--parlowen-device"),
                         golden=request.config.getoption("--parlowen-golden"))
        yield started
        started.stop()

    @pytest.fixture
    def device(request):
        """A simulated device of the test's own."""
        marker = request.node.get_closest_marker("device")
        started = Device(*(marker.args if marker else ()),
                         program=request.config.getoption("--parlowen-device"),
                         golden=request.config.getoption("--parlowen-golden"))
        request.node.parlowen_device = started
        yield started
        started.stop()
