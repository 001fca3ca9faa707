#!/usr/bin/env python3
"""The gpsd source against a real gpsd (Debian's), fed through a pseudo-terminal.

usage: gpsd_source.py CLI APP LOG WORK

- veloran-cli listen and the window (offscreen) both record what gpsd passes on: once gpsd
  has found the receiver, every sentence fed is in both recordings, byte for byte, and no
  report of gpsd's ever is;
- gpsd killed and started again on the same port: reception resumes by itself, through one
  new connection;
- the client started before gpsd: it connects once gpsd comes.
Exit 77 (skipped) when gpsd is not installed.
"""
import os
import pty
import shutil
import socket
import subprocess
import sys
import time
import tty

cli, app, log, work = sys.argv[1:5]
if shutil.which("gpsd") is None:
    print("gpsd is not installed")
    sys.exit(77)
shutil.rmtree(work, ignore_errors=True)
os.makedirs(work)

SENTENCES = [l + b"\n" for l in open(log, "rb").read().split(b"\n") if l.startswith(b"$")]
failures = []


def fail(message):
    failures.append(message)
    print("FAIL:", message, flush=True)


def free_port():
    s = socket.socket()
    s.bind(("127.0.0.1", 0))
    port = s.getsockname()[1]
    s.close()
    return port


class Gpsd:
    """gpsd on a pty of our own, on a loopback port, in the foreground."""

    def __init__(self, port, master=None, slave=None):
        if master is None:
            master, slave = pty.openpty()
            tty.setraw(slave)
        self.master, self.slave, self.port = master, slave, port
        self.process = subprocess.Popen(
            ["gpsd", "-N", "-n", "-S", str(port),
             "-F", os.path.join(work, "gpsd-%d.sock" % port), os.ttyname(slave)],
            stdout=subprocess.DEVNULL, stderr=open(os.path.join(work, "gpsd.err"), "ab"))
        deadline = time.time() + 10
        while time.time() < deadline:
            try:
                socket.create_connection(("127.0.0.1", port), timeout=1).close()
                return
            except OSError:
                time.sleep(0.05)
        raise SystemExit("gpsd did not come up on port %d" % port)

    def feed(self, lines, pause=0.01):
        for line in lines:
            os.write(self.master, line)
            time.sleep(pause)

    def stop(self):
        self.process.terminate()
        self.process.wait(timeout=10)


def started(command, name):
    err = open(os.path.join(work, name + ".err"), "wb")
    return subprocess.Popen(command, stdout=open(os.path.join(work, name + ".out"), "wb"),
                            stderr=err)


def read(name):
    with open(os.path.join(work, name), "rb") as f:
        return f.read()


def wait_for(condition, seconds):
    deadline = time.time() + seconds
    while time.time() < deadline:
        if condition():
            return True
        time.sleep(0.05)
    return False


def recording_has(name, marker):
    path = os.path.join(work, name)
    return os.path.exists(path) and marker in open(path, "rb").read()


def feed_until_recorded(gpsd, names, warmup):
    """gpsd drops what comes before it knows the device: feed until every client records."""
    for i in range(200):
        line = warmup[i % len(warmup)]
        gpsd.feed([line], pause=0.05)
        if all(recording_has(n, line) for n in names):
            return True
    return False


def connections(port):
    """Established connections to `port` on loopback, as the kernel counts them."""
    out = subprocess.run(["ss", "-Htn", "state", "established", "dport", "= :%d" % port],
                         capture_output=True, text=True).stdout
    return len([l for l in out.splitlines() if l.strip()])


# 1. Both programs receive every sentence byte for byte.
port = free_port()
gpsd = Gpsd(port)
url = "gpsd://127.0.0.1:%d" % port
listen = started([cli, "listen", url, "--record", os.path.join(work, "cli.nmea")], "cli")
config = os.path.join(work, "config")
env = dict(os.environ, QT_QPA_PLATFORM="offscreen")
window = subprocess.Popen([app, "--source", url, "--record", os.path.join(work, "window.nmea"),
                           "--config-dir", config, "--data-dir", os.path.join(work, "data")],
                          stdout=subprocess.DEVNULL, stderr=open(os.path.join(work, "window.err"), "wb"),
                          env=env)
warmup = SENTENCES[:40]
test = SENTENCES[40:640]
if not feed_until_recorded(gpsd, ["cli.nmea", "window.nmea"], warmup):
    fail("gpsd's sentences never reached both recordings")
gpsd.feed(test)
marker = test[-1]
if not wait_for(lambda: recording_has("cli.nmea", marker) and recording_has("window.nmea", marker), 20):
    fail("the last sentence fed did not arrive")
sent = b"".join(test)
for name in ("cli.nmea", "window.nmea"):
    got = read(name)
    if not got.endswith(sent):
        fail("%s does not end with the %d sentences fed, byte for byte" % (name, len(test)))
    if b"{" in got:
        fail("%s holds a report of gpsd's" % name)

# 2. gpsd goes and comes back on the same port: one new connection each, reception resumes.
master, slave = gpsd.master, gpsd.slave
gpsd.stop()
time.sleep(2)
gpsd = Gpsd(port, master, slave)
if not wait_for(lambda: connections(port) >= 2, 40):
    fail("the clients did not come back to gpsd (%d connections)" % connections(port))
again = [SENTENCES[700]]
if not feed_until_recorded(gpsd, ["cli.nmea", "window.nmea"], SENTENCES[700:760]):
    fail("no reception after gpsd came back")
time.sleep(1)
if connections(port) != 2:
    fail("%d connections to the new gpsd, not one per client" % connections(port))
for name in ("cli.err", "window.err"):
    if b"connected again" not in read(name):
        fail("%s does not say the receiver is back" % name)
listen.terminate()
window.terminate()
listen.wait(timeout=10)
window.wait(timeout=10)
gpsd.stop()

# 3. Started before gpsd: it connects when gpsd comes.
port = free_port()
early = started([cli, "listen", "gpsd://127.0.0.1:%d" % port, "--record",
                 os.path.join(work, "early.nmea"), "--seconds", "40"], "early")
time.sleep(1.5)
gpsd = Gpsd(port)
if not feed_until_recorded(gpsd, ["early.nmea"], SENTENCES[:40]):
    fail("a client started before gpsd never received")
early.terminate()
early.wait(timeout=10)
gpsd.stop()
if b"Cannot reach gpsd" not in read("early.err"):
    fail("the early client did not say it could not reach gpsd yet")

print("gpsd source: %s" % ("ok" if not failures else "%d failure(s)" % len(failures)))
sys.exit(1 if failures else 0)
