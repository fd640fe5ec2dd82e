"""Runs commands under limits of CPU time and memory, several at a time, and leaves no process behind.

Each worker process runs one command at a time and adopts the orphans among the processes that come of it (Linux's
"child subreaper"). When a run ends, everything below its worker belongs to the run: it is killed, waited for and
counted.
"""
import collections
import ctypes
import math
import multiprocessing
import multiprocessing.connection
import os
import pathlib
import resource
import select
import signal
import subprocess
import sys
import tempfile
import time

Limits = collections.namedtuple("Limits", "cpu wall memory_mib")  # cpu: all processes of a run together; both seconds
Run = collections.namedtuple("Run", "answer cpu peak_kib")        # peak: of the largest process
VERDICTS = {"sat", "unsat", "unknown"}

PR_SET_PDEATHSIG, PR_SET_CHILD_SUBREAPER = 1, 36
POLL_SECONDS = 0.1
TICK = 1 / os.sysconf("SC_CLK_TCK")

# A process inherits the peak of the one it is forked from; the shell is small. It leaves at once, so that its child
# becomes the worker's own, and the command starts only then: the shell could wait for it, and nobody else would know
# its costs.
LAUNCH = 'exec 3<&0; { read go <&3 && exec "$@" 3<&- </dev/null >"$0" 2>/dev/null; } & echo $!'


# ---- the processes below this one ----

def children_of(pid):
    found = []
    for listing in pathlib.Path(f"/proc/{pid}/task").glob("*/children"):
        try:
            found += [int(word) for word in listing.read_text().split()]
        except OSError:  # it has just ended
            pass
    return found


def descendants():
    found, waiting = [], [os.getpid()]
    while waiting:
        below = children_of(waiting.pop())
        found += below
        waiting += below
    return found


def cpu_of(pid):
    """The CPU seconds of a process and of those that it has waited for."""
    try:
        fields = pathlib.Path(f"/proc/{pid}/stat").read_text().rpartition(")")[2].split()
    except OSError:
        return 0
    return sum(int(field) for field in fields[11:15]) * TICK


def kill_descendants():
    for pid in descendants():
        try:
            os.kill(pid, signal.SIGKILL)
        except ProcessLookupError:
            pass


def reap_descendants():
    """Kills all that is left and waits for it; gives the CPU seconds of all and the largest peak."""
    cpu, peak = 0, 0
    while True:
        kill_descendants()
        try:
            usage = os.wait4(-1, 0)[2]
        except ChildProcessError:
            return cpu, peak
        cpu += usage.ru_utime + usage.ru_stime
        peak = max(peak, usage.ru_maxrss)


# ---- one run ----

def launch(command, output, limits):
    def restrict():
        seconds = math.ceil(limits.cpu) + 1  # holds even when nobody watches any more
        resource.setrlimit(resource.RLIMIT_CPU, (seconds, seconds))
        resource.setrlimit(resource.RLIMIT_AS, (limits.memory_mib << 20, limits.memory_mib << 20))
        resource.setrlimit(resource.RLIMIT_CORE, (0, 0))

    with subprocess.Popen(["/bin/sh", "-c", LAUNCH, output, *command], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                          preexec_fn=restrict, start_new_session=True) as shell:
        pid = int(shell.stdout.readline())
        shell.wait()
        shell.stdin.write(b"\n")
    return pid


def watch(pid, limits):
    """Waits for the process; gives False when a limit ends the wait."""
    end = time.monotonic() + limits.wall
    process = os.pidfd_open(pid)
    try:
        while not select.select([process], [], [], POLL_SECONDS)[0]:
            if time.monotonic() > end or sum(map(cpu_of, descendants())) > limits.cpu:
                return False
        return True
    finally:
        os.close(process)


def answer_of(output, checks, limits, stopped, peak_kib):
    """The verdicts, followed by what kept those of the remaining checks from being given."""
    with open(output, encoding="utf-8", errors="replace") as lines:
        words = [word for line in lines if (word := line.strip()) in VERDICTS]
    if not words or stopped or len(words) < checks:
        words.append("timeout" if stopped else "memory" if peak_kib > limits.memory_mib * 512 else "error")
    return " ".join(words)


def run(command, checks, limits):
    with tempfile.TemporaryDirectory(prefix="race-") as folder:
        output = os.path.join(folder, "output")
        pid = launch(command, output, limits)
        in_time = watch(pid, limits)
        cpu, peak = reap_descendants()
        return Run(answer_of(output, checks, limits, not in_time or cpu > limits.cpu, peak), cpu, peak)


# ---- several at a time ----

def work(connection, limits):
    """The life of a worker: runs what the connection asks for until it is told to stop."""
    def stop(*_):
        reap_descendants()
        sys.exit(1)

    libc = ctypes.CDLL(None, use_errno=True)
    libc.prctl(PR_SET_CHILD_SUBREAPER, 1)
    libc.prctl(PR_SET_PDEATHSIG, signal.SIGTERM)
    signal.signal(signal.SIGINT, signal.SIG_IGN)  # the terminal sends it to everyone; only the race itself decides
    signal.signal(signal.SIGTERM, stop)
    while True:
        command, checks = connection.recv()
        connection.send(run(command, checks, limits))


class Workers:
    """Worker processes, to be used in a `with` statement; leaving it ends them and what they run."""

    def __init__(self, jobs, limits):
        context = multiprocessing.get_context("fork")
        self.processes = {}  # by our end of the connection
        for _ in range(jobs):
            ours, theirs = context.Pipe()
            process = context.Process(target=work, args=(theirs, limits))
            process.start()
            theirs.close()
            self.processes[ours] = process

    def __enter__(self):
        return self

    def __exit__(self, *_):
        for process in self.processes.values():
            process.terminate()
        for process in self.processes.values():
            process.join()

    def map(self, tasks):
        """Takes pairs (key, (command, number of checks)), in order; gives pairs (key, Run) as they are done."""
        tasks, free, busy = iter(tasks), list(self.processes), {}
        while True:
            while free and (task := next(tasks, None)):
                connection = free.pop()
                connection.send(task[1])
                busy[connection] = task[0]
            if not busy:
                return
            for connection in multiprocessing.connection.wait(list(busy)):
                result = connection.recv()
                free.append(connection)
                yield busy.pop(connection), result
