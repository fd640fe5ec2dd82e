"""Results of races: tab-separated files, comparisons of solvers, tables.

A file of results has a header and the columns path, solver, answer, cpu_seconds and possibly peak_kib. An answer holds
the verdicts of all checks of a script, and a last word `timeout`, `memory` or `error` where some are missing.
"""
import collections
import itertools
import pathlib
import statistics
import sys

Result = collections.namedtuple("Result", "answer cpu peak_kib")  # seconds; peak: None when it was not measured
Table = collections.namedtuple("Table", "header rows best")       # cells are text; best: (row, column) of the winners
COLUMNS = ["path", "solver", "answer", "cpu_seconds", "peak_kib"]
VIRTUAL_BEST = "virtual best"
DECIDED = {"sat", "unsat"}
SHORTEST = 0.001  # seconds; ratios take anything faster as this
SCALING = 0.1     # seconds; scripts on which both runs were faster say nothing about the machine


# ---- files ----

def is_results(path):
    with open(path, encoding="utf-8", errors="replace") as lines:
        return lines.readline().split("\t")[:2] == COLUMNS[:2]


def read_results(path):
    """Gives {solver: {path: Result}}. A last line that was cut off is left out."""
    results = {}
    lines = pathlib.Path(path).read_text(encoding="utf-8").split("\n")[:-1]
    header = lines[0].split("\t") if lines else []
    if not set(COLUMNS[:4]) <= set(header):
        sys.exit(f"{pathlib.Path(sys.argv[0]).name}: error: {path}: the first line does not name the columns "
                 + ", ".join(COLUMNS[:4]))
    for line in lines[1:]:
        row = dict(zip(header, line.split("\t")))
        peak = int(row["peak_kib"]) if row.get("peak_kib") else None
        results.setdefault(row["solver"], {})[row["path"]] = Result(row["answer"], float(row["cpu_seconds"]), peak)
    return results


def read_runs(paths, chosen=()):
    """The results in several files as one; only those on the `chosen` scripts when there are any."""
    results = {}
    for path in paths:
        merge(results, read_results(path))
    kept = {solver: {path: result for path, result in by_path.items() if not chosen or path in chosen}
            for solver, by_path in results.items()}
    return {solver: by_path for solver, by_path in kept.items() if by_path}


def merge(into, results):
    for solver, by_path in results.items():
        into.setdefault(solver, {}).update(by_path)


# ---- answers ----

def is_decided(answer):
    return set(answer.split()) <= DECIDED


def contradict(a, b):
    """Two answers contradict each other where both decide and the words differ."""
    return any({x, y} == DECIDED for x, y in zip(a.split(), b.split()))


# ---- results of other runs ----

class Reference:
    """Results from elsewhere that join the tables, with times made comparable."""

    def __init__(self, paths, scale):
        self.runs = {path: read_results(path) for path in paths}
        self.ours, _, theirs = (scale or "").partition("=")
        self.theirs = theirs or self.ours
        if self.ours and not paths:
            raise ValueError("--scale needs a --reference")
        for path, run in self.runs.items():
            if self.ours and self.theirs not in run:
                raise ValueError(f"--scale: no solver '{self.theirs}' in {path}, only " + ", ".join(run))

    def factor(self, results, run, limit):
        """How many times as long the same solver took here, and on how many scripts that was measured."""
        mine, other = results.get(self.ours, {}), run[self.theirs]
        pairs = [(mine[path].cpu, result.cpu) for path, result in other.items()
                 if path in mine and is_decided(result.answer) and is_decided(mine[path].answer)
                 and mine[path].cpu <= limit and max(mine[path].cpu, result.cpu) >= SCALING]
        here, there = map(sum, zip(*pairs)) if pairs else (0, 0)
        return (here / there if here and there else None), len(pairs)

    def joined(self, results, limit):
        """Gives {solver: {path: Result}}, named apart from the solvers of `results`, and notes on the scaling."""
        joined, notes = {}, []
        for path, run in self.runs.items():
            factor = None
            if self.ours:
                factor, count = self.factor(results, run, limit)
                notes.append(f"{path}: times multiplied by {factor:.3f} ({self.ours}, {count} scripts)" if factor else
                             f"{path}: times not scaled, {self.ours} decided no script of {SCALING} s or more in both")
            for solver, by_path in run.items():
                name = f"{solver} (reference)" if solver in results else solver
                merge(joined, {name: {p: r._replace(cpu=r.cpu * (factor or 1)) for p, r in by_path.items()}})
        return joined, notes


def virtual_best(reference, limit):
    """For each script the fastest of the solvers that decide it."""
    best = {}
    for path, result in itertools.chain.from_iterable(by_path.items() for by_path in reference.values()):
        if path not in best or _cost(result, limit) < _cost(best[path], limit):
            best[path] = result._replace(peak_kib=None)
    return best


def _cost(result, limit):
    return result.cpu if is_decided(result.answer) and result.cpu <= limit else 2 * limit


# ---- comparing ----

class Comparison:
    """Solvers on the same scripts under one limit of CPU time. The first one is compared with each other.

    A script is solved when all its answers are decided within the limit and none contradicts the known verdict. Its
    cost is the CPU time when it is solved, and twice the limit when it is not (PAR-2). A solver counts only on those
    scripts on which it was run.
    """

    def __init__(self, results, limit, known=None):
        self.limit, self.known, self.results = limit, known or {}, results
        self.solvers = list(results)
        self.first = self.solvers[0]
        self.others = [solver for solver in self.solvers[1:] if solver != VIRTUAL_BEST]

    def solved(self, solver, path):
        result = self.results[solver][path]
        return (is_decided(result.answer) and result.cpu <= self.limit
                and not contradict(result.answer, self.known.get(path) or ""))

    def cost(self, solver, path):
        return self.results[solver][path].cpu if self.solved(solver, path) else 2 * self.limit

    def paths(self):
        return list(dict.fromkeys(path for by_path in self.results.values() for path in by_path))

    def families(self):
        """Scripts by family, those on which the first solver loses most first."""
        found = collections.defaultdict(list)
        for path in self.paths():
            found[family_of(path)].append(path)
        return dict(sorted(found.items(), key=lambda item: (-self.loss(item[1])[0], item[0])))

    def common(self, paths, *solvers):
        return [path for path in paths if all(path in self.results[solver] for solver in solvers)]

    def loss(self, paths):
        """How much more the first solver costs than the best other one, and which that is; its own cost when alone."""
        losses = [(sum(self.cost(self.first, path) - self.cost(other, path) for path in common), other)
                  for other in self.others if (common := self.common(paths, self.first, other))]
        own = sum(self.cost(self.first, path) for path in self.common(paths, self.first))
        return max(losses, key=lambda pair: pair[0], default=(own, ""))


def family_of(path):
    """The last two folders of a script."""
    return "/".join(pathlib.PurePosixPath(path).parts[:-1][-2:]) or "."


def compare(results, reference, limit, known=None, with_virtual_best=False):
    """Puts a run and its reference together, on the scripts of the run; gives the comparison and notes."""
    joined, notes = reference.joined(results, limit)
    if with_virtual_best:
        joined[VIRTUAL_BEST] = virtual_best(joined, limit)
    paths = {path for by_path in results.values() for path in by_path}
    everyone = dict(results)
    for solver, by_path in joined.items():
        everyone[solver] = {path: result for path, result in by_path.items() if path in paths}
    return Comparison(everyone, limit, known), notes


def disagreements(comparison, own):
    """One line for each script on which a solver of `own` contradicts any other or the known verdict."""
    for path in comparison.paths():
        answers = {solver: by_path[path].answer for solver, by_path in comparison.results.items()
                   if path in by_path and solver != VIRTUAL_BEST}
        ours = [answer for solver, answer in answers.items() if solver in own]
        if comparison.known.get(path):
            answers["(stated)"] = comparison.known[path]
        if any(contradict(a, b) for a, b in itertools.product(ours, answers.values())):
            yield f"DISAGREE {path}: " + ", ".join(f"{name}: {answer}" for name, answer in answers.items())


# ---- tables ----

def family_table(comparison):
    """Solved scripts and PAR-2 of each solver, by family."""
    header = ["family", "scripts", *comparison.solvers]
    header += ["loss, s", "best other"] if comparison.others else []
    rows, best = [], set()
    for family, paths in [*comparison.families().items(), ("all", comparison.paths())]:
        cells = [_family_cell(comparison, solver, paths) for solver in comparison.solvers]
        best |= {(len(rows), 2 + i) for i in _winners(comparison, paths)}
        loss, other = comparison.loss(paths)
        ending = [seconds(loss), other] if comparison.others else []
        rows.append([family, str(len(paths)), *cells, *ending])
    return Table(header, rows, best)


def _family_cell(comparison, solver, paths):
    own = comparison.common(paths, solver)
    if not own:
        return "-"
    solved = sum(comparison.solved(solver, path) for path in own)
    part = f" of {len(own)}" if len(own) < len(paths) else ""
    return f"{solved}{part} / {seconds(sum(comparison.cost(solver, path) for path in own))}"


def seconds(value):
    return f"{value:.1f}" if abs(value) >= 10 else f"{round(value, 2) + 0:.2f}"  # + 0: there is no -0.00


def _winners(comparison, paths):
    """The positions of the cheapest solvers among those that were run on all scripts."""
    costs = {i: seconds(sum(comparison.cost(solver, path) for path in paths))
             for i, solver in enumerate(comparison.solvers)
             if solver != VIRTUAL_BEST and len(comparison.common(paths, solver)) == len(paths)}
    return [i for i, cost in costs.items() if cost == min(costs.values(), key=float)] if len(costs) > 1 else []


def total_table(comparison):
    """One row for each solver, over all scripts."""
    first = comparison.first
    header = ["solver", "solved", "PAR-2, s", "not solved", f"median time / {first}", "peak, MiB",
              f"{first} takes at most as much memory"]
    rows = []
    for solver in comparison.solvers:
        paths = comparison.common(comparison.paths(), solver)
        rows.append([solver, f"{sum(comparison.solved(solver, path) for path in paths)} of {len(paths)}",
                     seconds(sum(comparison.cost(solver, path) for path in paths)),
                     _unsolved_cell(comparison, solver, paths),
                     *_against_first(comparison, solver)])
    return Table(header, rows, set())


def _unsolved_cell(comparison, solver, paths):
    reasons = collections.Counter(
        reason_unsolved(comparison, solver, path) for path in paths if not comparison.solved(solver, path))
    return ", ".join(f"{count} {reason}" for reason, count in sorted(reasons.items()))


def reason_unsolved(comparison, solver, path):
    result = comparison.results[solver][path]
    if contradict(result.answer, comparison.known.get(path) or ""):
        return "wrong"
    if is_decided(result.answer):
        return "timeout"
    last = result.answer.split()[-1]
    return "unknown" if last in DECIDED else last


def _against_first(comparison, solver):
    """Cells: median ratio, peak, and on how many scripts the first solver needs no more memory."""
    first = comparison.first
    both = [path for path in comparison.common(comparison.paths(), first, solver)
            if comparison.solved(first, path) and comparison.solved(solver, path)]
    ours, theirs = ([comparison.results[name][path] for path in both] for name in (first, solver))
    ratios = [max(b.cpu, SHORTEST) / max(a.cpu, SHORTEST) for a, b in zip(ours, theirs)]
    peaks = [result.peak_kib for result in comparison.results[solver].values() if result.peak_kib is not None]
    memory = [a.peak_kib <= b.peak_kib for a, b in zip(ours, theirs) if None not in (a.peak_kib, b.peak_kib)]
    return [f"{statistics.median(ratios):.2f} ({len(ratios)})" if ratios and solver != first else "",
            f"{max(peaks) / 1024:.0f}" if peaks else "",
            f"{sum(memory)} of {len(memory)}" if memory and solver != first else ""]


def is_text(name):
    """Whether a column holds text rather than numbers."""
    return name in {"family", "solver", "not solved", "best other"}


def markdown(table):
    rule = "|".join("---" if is_text(name) else "---:" for name in table.header)
    lines = ["| " + " | ".join(table.header) + " |", f"|{rule}|"]
    return "\n".join(lines + ["| " + " | ".join(row) + " |" for row in table.rows])


def explanation(comparison):
    return ("Families: scripts solved / PAR-2 in seconds. "
            f"Solved: every answer within {comparison.limit:g} s of CPU time. "
            "PAR-2: that time, or twice the limit when not solved. "
            f"Loss: how much more {comparison.first} costs than the best other solver, on scripts that both ran on. "
            "Time ratio and memory: on scripts that both solved.")


# ---- options that all reports share ----

def add_report_options(parser):
    parser.add_argument("--limit", type=float, default=20, metavar="SECONDS", help="CPU time for each run (20)")
    parser.add_argument("--reference", action="append", default=[], metavar="TSV",
                        help="results of other runs, which join the tables")
    parser.add_argument("--scale", metavar="NAME[=NAME_IN_REFERENCE]",
                        help="a solver of this run and of each reference, whose times tell how fast the machines are")
    parser.add_argument("--virtual-best", action="store_true", help="adds the best solver of the references per script")


def read_reference(parser, arguments):
    try:
        return Reference(arguments.reference, arguments.scale)
    except (OSError, ValueError) as error:
        parser.error(str(error))
