"""The servers that are compared: how each is started, what it is asked, and what it used."""
import contextlib
import json
import os
import signal
import socket
import subprocess
import time

START_SECONDS = 20
STOP_SECONDS = 30
TICKS_PER_SECOND = os.sysconf("SC_CLK_TCK")


class Server:
    """A running server. `name` is what the tables call it."""

    def __init__(self, name, port, command, folder, target):
        self.name = name
        self.port = port
        self.target = target
        with open(os.path.join(folder, name.replace(" ", "-") + ".log"), "wb") as log:
            self.process = subprocess.Popen(command, cwd=folder, stdout=log, stderr=log)
        self._wait_until_it_answers()

    def upload_arguments(self, source):
        """What curl is told to upload the file `source`."""
        return ["-F", f"file=@{source}", self._url("/upload")]

    def download_url(self):
        return self._url("/file")

    def cpu_seconds(self):
        with open(f"/proc/{self.process.pid}/stat", encoding="ascii") as file:
            fields = file.read().rpartition(")")[2].split()
        return (int(fields[11]) + int(fields[12])) / TICKS_PER_SECOND

    def processor_seconds(self):
        """As `cpu_seconds`, in nanoseconds instead of ticks; of the threads that still run."""
        total = 0
        tasks = f"/proc/{self.process.pid}/task"
        for task in os.listdir(tasks):
            with open(f"{tasks}/{task}/schedstat", encoding="ascii") as file:
                total += int(file.read().split()[0])
        return total / 1e9

    def resident_mib(self):
        return self._memory("VmRSS")

    def page_tables_mib(self):
        return self._memory("VmPTE")

    def forget_peak(self):
        with open(f"/proc/{self.process.pid}/clear_refs", "w", encoding="ascii") as file:
            file.write("5")

    def peak_mib(self):
        """The largest resident memory since `forget_peak`."""
        return self._memory("VmHWM")

    def stop(self):
        if self.process.poll() is not None:
            return
        self.process.send_signal(signal.SIGTERM)
        try:
            self.process.wait(timeout=STOP_SECONDS)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()

    def information_url(self):
        return self._url("/info")

    def _url(self, path):
        return f"http://127.0.0.1:{self.port}{path}"

    def _memory(self, field):
        with open(f"/proc/{self.process.pid}/status", encoding="ascii") as file:
            for line in file:
                if line.startswith(field + ":"):
                    return int(line.split()[1]) / 1024
        raise RuntimeError(f"{self.name} has ended")

    def _wait_until_it_answers(self):
        end = time.monotonic() + START_SECONDS
        while time.monotonic() < end and self.process.poll() is None:
            with contextlib.suppress(OSError):
                socket.create_connection(("127.0.0.1", self.port), timeout=1).close()
                return
            time.sleep(0.05)
        raise RuntimeError(f"{self.name} did not start")


def metadata_arguments(target, source):
    """What curl is told of a form that ours takes."""
    metadata = {"fileUri": target, "fileSize": os.path.getsize(source)}
    return ["--form-string", f"metadata={json.dumps(metadata)}", "-F", f"file=@{source}"]


class Simulator(Server):
    """The device simulator with a device folder of its own. `prefix` comes before its command."""

    def __init__(self, build, folder, prefix=()):
        data = os.path.join(folder, "device")
        target = os.path.join(data, "storage", "userfiles", "transfer.bin")
        program = os.path.join(build, "device", "parlowen-device")
        super().__init__("ours", 8081, [*prefix, program, "--data", data], folder, target)

    def upload_arguments(self, source):
        return metadata_arguments(self.target, source) + [self._url("/api/filemgr/v2/userfiles")]

    def download_url(self):
        return self._url(f"/api/filemgr/v2/userfiles{self.target}")


class Peer(Server):
    """A server of benchmarks/peers. `options` are the last words of its command."""

    def __init__(self, name, program, port, build, folder, options=()):
        path = os.path.join(build, "benchmarks", "peers", program)
        target = os.path.join(folder, f"{name}.bin")
        super().__init__(name, port, [path, str(port), target, *options], folder, target)


class PromptHost(Server):
    """The small host of benchmarks/peers, which serves `serving`: "prompt" or "classic"."""

    def __init__(self, build, folder, serving="prompt", port=18106):
        program = os.path.join(build, "benchmarks", "peers", "prompt_host")
        files = os.path.join(folder, serving)
        os.makedirs(files, exist_ok=True)
        target = os.path.join(files, "transfer.bin")
        super().__init__(serving, port, [program, f"127.0.0.1:{port}", files, serving], files, target)

    def upload_arguments(self, source):
        return metadata_arguments(self.target, source) + [self._url("/api/filemgr/v2/userfiles")]

    def download_url(self):
        return self._url(f"/api/filemgr/v2/userfiles{self.target}")

    def longest_turn_ms(self):
        """By the clock and of processor time. Ends the server, which then tells it."""
        self.stop()
        with open(os.path.join(os.path.dirname(self.target), self.name + ".log"),
                  encoding="utf-8") as file:
            return [float(value) for value in file.read().split()[-2:]]


class Nginx(Server):
    """nginx, which stores the body of a PUT as it is: no form is taken apart."""

    CONFIGURATION = """
        daemon off; master_process off; pid {folder}/nginx.pid; error_log {folder}/nginx-error.log;
        events {{}}
        http {{
            access_log off; sendfile on; client_max_body_size 0;
            client_body_temp_path {folder}/nginx-body; proxy_temp_path {folder}/nginx-proxy;
            fastcgi_temp_path {folder}/nginx-fastcgi; uwsgi_temp_path {folder}/nginx-uwsgi;
            scgi_temp_path {folder}/nginx-scgi;
            server {{ listen 127.0.0.1:{port}; root {folder}/nginx; dav_methods PUT; }}
        }}"""

    def __init__(self, port, folder):
        configuration = os.path.join(folder, "nginx.conf")
        os.mkdir(os.path.join(folder, "nginx"))
        with open(configuration, "w", encoding="ascii") as file:
            file.write(self.CONFIGURATION.format(folder=folder, port=port))
        command = ["/usr/sbin/nginx", "-c", configuration, "-e", f"{folder}/nginx-error.log"]
        target = os.path.join(folder, "nginx", "file")
        super().__init__("nginx (bare PUT)", port, command, folder, target)

    def upload_arguments(self, source):
        return ["-T", source, self._url("/file")]


@contextlib.contextmanager
def running(*makers):
    """Starts one server for each maker and ends them all."""
    servers = []
    try:
        for make in makers:
            servers.append(make())
        yield servers
    finally:
        for server in servers:
            server.stop()
