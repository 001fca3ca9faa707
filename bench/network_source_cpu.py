#!/usr/bin/env python3
"""CPU of a receiver fed a 10 Hz multi-system stream through a pseudo-terminal, TCP and UDP,
side by side: the network sources must cost no more than the serial port.

usage: bench/network_source_cpu.py [BUILD_DIR] [SECONDS] [--window]

The stream is veloran-nmea-gen's multi-system drive sent one epoch every 100 ms (all to
127.0.0.1). Measured: the time on a CPU of every thread of `veloran-cli listen` (or, with --window, of the
window on its Dashboard, offscreen) over SECONDS after a settling second.
"""
import os
import pty
import socket
import subprocess
import sys
import tempfile
import threading
import time
import tty

args = [a for a in sys.argv[1:] if not a.startswith("--")]
build = args[0] if args else "build/dev"
seconds = float(args[1]) if len(args) > 1 else 20
window = "--window" in sys.argv
work = tempfile.mkdtemp()
log = os.path.join(work, "drive.nmea")
subprocess.run([os.path.join(build, "tools/veloran-nmea-gen"), "--gnss", "all", "--epochs",
                str(int(seconds * 10) + 100), "--output", log], check=True)
epochs = []
for line in open(log, "rb").read().splitlines(keepends=True):
    if line[3:6] == b"GGA" or not epochs:
        epochs.append(b"")
    epochs[-1] += line


def pace(send, stop):
    start = time.monotonic()
    for i, epoch in enumerate(epochs):
        if stop.is_set():
            return
        send(epoch)
        delay = start + (i + 1) * 0.1 - time.monotonic()
        if delay > 0:
            time.sleep(delay)


def cpu_seconds(pid):
    # Every thread's time on a CPU in nanoseconds: clock ticks are too coarse for a quiet reader.
    total = 0
    for task in os.listdir("/proc/%d/task" % pid):
        try:
            total += int(open("/proc/%d/task/%s/schedstat" % (pid, task)).read().split()[0])
        except OSError:
            pass
    return total / 1e9


def run(source, feeder):
    if window:
        command = [os.path.join(build, "src/app/veloran"), "--source", source,
                   "--config-dir", os.path.join(work, "config"), "--data-dir",
                   os.path.join(work, "data")]
    else:
        command = [os.path.join(build, "src/cli/veloran-cli"), "listen", source]
    env = dict(os.environ, QT_QPA_PLATFORM="offscreen")
    process = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                               env=env)
    stop = threading.Event()
    thread = threading.Thread(target=feeder, args=(stop,))
    thread.start()
    time.sleep(1)
    before = cpu_seconds(process.pid)
    time.sleep(seconds)
    used = cpu_seconds(process.pid) - before
    stop.set()
    thread.join()
    process.terminate()
    process.wait()
    return 100 * used / seconds


def pty_feeder():
    master, slave = pty.openpty()
    tty.setraw(slave)
    return os.ttyname(slave), lambda stop: pace(lambda b: os.write(master, b), stop)


def tcp_feeder():
    server = socket.socket()
    server.bind(("127.0.0.1", 0))
    server.listen(1)

    def feed(stop):
        server.settimeout(5)
        peer, _ = server.accept()
        pace(peer.sendall, stop)
        peer.close()
    return server.getsockname()[1], feed


def udp_feeder(port):
    sender = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    return lambda stop: pace(lambda b: sender.sendto(b, ("127.0.0.1", port)), stop)


results = {}
device, feed = pty_feeder()
results["pty"] = run("serial:%s?baud=115200" % device, feed)
port, feed = tcp_feeder()
results["tcp"] = run("tcp://127.0.0.1:%d" % port, feed)
probe = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
probe.bind(("127.0.0.1", 0))
port = probe.getsockname()[1]
probe.close()
results["udp"] = run("udp://127.0.0.1:%d" % port, udp_feeder(port))
who = "window (Dashboard)" if window else "veloran-cli listen"
for name, percent in results.items():
    print("%s, 10 Hz multi-system over %s: %.2f %% of one core over %g s" %
          (who, name, percent, seconds))
