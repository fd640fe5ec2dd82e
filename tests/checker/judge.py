"""The rules of certificates once more, as plainly as can be: judges what the checker is then asked to judge.

It knows texts whose lines are whole and whose symbols are simple, and takes inputs as given. Nothing here is fast.
"""
from fractions import Fraction
import re

NEGATION = {"<": ">=", "<=": ">", ">": "<=", ">=": "<"}
MIRROR = {"<": ">", "<=": ">=", "=": "=", ">": "<", ">=": "<="}


class Wrong(Exception):
    pass


def require(condition):
    if not condition:
        raise Wrong


def natural(word, least, most):
    require(re.fullmatch(r"[0-9]+", word) and least <= int(word) <= most)
    return int(word)


def number(word):
    require(re.fullmatch(r"-?[0-9]+(/0*[1-9][0-9]*)?", word))
    return Fraction(word)


def variable(word):
    return natural(word, 1, 2**30)


SYMBOL = object()


class Gate:
    def __init__(self, value, args):
        self.value, self.args = value, args


# ---- what gates stand for; what is open is None ----

def all_of(args):
    return False if False in args else None if None in args else True


def same(args):
    return None if None in args else args[0] == args[1]


def chosen(args):
    condition, yes, no = args
    return yes if condition is True or yes == no else no if condition is False else None


def truth(literal, denied):
    return False if literal in denied else True if -literal in denied else None


class Judge:
    def __init__(self):
        self.check, self.clauses = None, {}
        self.reals = {}  # by variable: None, or condition, yes and no
        self.props = {}  # by variable: a Symbol, a Gate, or the parts of a constraint
        self.last, self.finished = 0, False

    # ---- pieces of steps ----

    def literal(self, word):
        negative = word.startswith("-")
        p = variable(word[1:] if negative else word)
        require(p in self.props)
        return -p if negative else p

    def clause(self, words):
        """Splits words into literals and what follows the 0."""
        require("0" in words)
        end = words.index("0")
        return [self.literal(w) for w in words[:end]], words[end + 1:]

    def add(self, word, literals):
        number_of = natural(word, 1, 2**62)
        require(number_of > self.last)
        self.last = number_of
        self.clauses[number_of] = set(literals)

    def named(self, word):
        which = natural(word, 0, 2**64 - 1)
        require(which in self.clauses)
        return which

    # ---- steps ----

    def step_check(self, words):
        require(self.check is None and len(words) == 1)
        self.check = natural(words[0], 0, 2**64 - 1)

    def step_real(self, words):
        require(len(words) == 2 and variable(words[0]) not in self.reals and symbol(words[1]))
        self.reals[int(words[0])] = None

    def step_bool(self, words):
        require(len(words) == 2 and variable(words[0]) not in self.props and symbol(words[1]))
        self.props[int(words[0])] = SYMBOL

    def step_atom(self, words):
        require(len(words) >= 3 and words[-2] in MIRROR)
        p, relation, constant = variable(words[0]), words[-2], number(words[-1])
        require(p not in self.props)
        self.props[p] = (self.terms(words[1:-2]), relation, constant)

    def terms(self, words):
        terms = {}
        for word in words:
            require("*" in word)
            coefficient, real = word.split("*", 1)
            require(variable(real) in self.reals and int(real) not in terms and number(coefficient) != 0)
            terms[int(real)] = number(coefficient)
        return terms

    def step_and(self, words):
        require(words and variable(words[0]) not in self.props)
        literals, rest = self.clause(words[1:])
        require(not rest)
        self.props[int(words[0])] = Gate(all_of, literals)

    def step_iff(self, words):
        require(len(words) == 3 and variable(words[0]) not in self.props)
        self.props[int(words[0])] = Gate(same, [self.literal(w) for w in words[1:]])

    def step_ite(self, words):
        require(len(words) == 4 and variable(words[0]) not in self.props)
        self.props[int(words[0])] = Gate(chosen, [self.literal(w) for w in words[1:]])

    def step_real_ite(self, words):
        require(len(words) > 2 and variable(words[0]) not in self.reals and words.count(":") == 2 and words[2] == ":")
        condition, second = self.literal(words[1]), words.index(":", 3)
        sums = [words[3:second], words[second + 1:]]
        require(all(sums))
        self.reals[int(words[0])] = (condition, *((self.terms(s[:-1]), number(s[-1])) for s in sums))

    def step_input(self, words):
        require(len(words) >= 3 and self.check is not None)
        natural(words[1], 0, 2**64 - 1)
        literals, rest = self.clause(words[2:])
        require(not rest)
        self.add(words[0], literals)

    def step_farkas(self, words):
        require(words)
        literals, rest = self.clause(words[1:])
        multipliers = [number(w) for w in rest]
        require(len(literals) == len(multipliers))
        terms, bound, strict = {}, Fraction(0), False
        for literal, multiplier in zip(literals, multipliers):
            if multiplier == 0:
                continue
            form, relation, constant = self.constraint(abs(literal))
            if literal > 0:
                require(relation != "=")
                relation = NEGATION[relation]
            require(relation == "=" or multiplier > 0)
            strict = strict or relation in "<>"
            factor = -multiplier if relation in (">", ">=") else multiplier
            for real, coefficient in form.items():
                terms[real] = terms.get(real, 0) + factor * coefficient
            bound += factor * constant
        require(not any(terms.values()) and (bound <= 0 if strict else bound < 0))
        self.add(words[0], literals)

    def step_split(self, words):
        require(words)
        literals, rest = self.clause(words[1:])
        require(not rest and len(literals) == 3)
        said = [self.constraint(l) if l > 0 else self.negated(-l) for l in literals]
        require(any(relation == "=" for _, relation, _ in said))
        equality = next(s for s in said if s[1] == "=")
        relations = sorted(self.against(equality, s) for s in said if s is not equality)
        require(relations == ["<", ">"])
        self.add(words[0], literals)

    def constraint(self, p):
        require(isinstance(self.props[p], tuple))
        return self.props[p]

    def negated(self, p):
        terms, relation, constant = self.constraint(p)
        return (terms, NEGATION.get(relation, "differs"), constant)

    @staticmethod
    def against(equality, other):
        """How the other constraint compares what the equality does."""
        form, _, constant = equality
        terms, relation, bound = other
        require(form.keys() == terms.keys() and relation in MIRROR)
        scale = next((terms[v] / form[v] for v in form), Fraction(1))
        require(all(terms[v] == scale * form[v] for v in form) and bound == scale * constant)
        return MIRROR[relation] if scale < 0 else relation

    def step_rup(self, words):
        require(words)
        literals, rest = self.clause(words[1:])
        true = {-l for l in literals}
        require(not any(-l in true for l in true))
        for i, word in enumerate(rest):
            clause = self.clauses[self.named(word)]
            require(not clause & true)
            opened = {l for l in clause if -l not in true}
            require(len(opened) == 1 or (not opened and i == len(rest) - 1))
            true |= opened
        require(rest and not opened)
        self.add(words[0], literals)

    def step_gate(self, words):
        require(len(words) >= 3)
        gate = self.props.get(variable(words[1]))
        literals, rest = self.clause(words[2:])
        require(isinstance(gate, Gate) and not rest)
        require(not any(-l in literals for l in literals))
        told = truth(int(words[1]), literals)
        defined = gate.value([truth(a, literals) for a in gate.args])
        require({told, defined} == {True, False})
        self.add(words[0], literals)

    def step_branch(self, words):
        require(len(words) >= 3)
        real = variable(words[1])
        literals, rest = self.clause(words[2:])
        require(self.reals.get(real) is not None and len(literals) == 2 and not rest)
        condition, yes, no = self.reals[real]
        require(abs(condition) in [abs(l) for l in literals])
        selector, other = literals if abs(literals[0]) == abs(condition) else literals[::-1]
        terms, constant = yes if selector == -condition else no
        form, relation, bound = self.constraint(other) if other > 0 else self.negated(-other)
        require(relation in ("<=", "=", ">=") and form.keys() == terms.keys() | {real})
        scale = form[real]
        require(all(form[v] == -scale * terms[v] for v in terms) and bound == scale * constant)
        self.add(words[0], literals)

    def step_delete(self, words):
        ids = [self.named(w) for w in words]
        require(len(set(ids)) == len(ids))
        for which in ids:
            del self.clauses[which]

    def step_qed(self, words):
        require(len(words) == 1 and not self.clauses[self.named(words[0])])
        self.finished = True


def symbol(word):
    return re.fullmatch(r"[A-Za-z~!@$%^&*_+=<>.?/-][A-Za-z0-9~!@$%^&*_+=<>.?/-]*|\|[^|\\]*\|", word)


def words_of(line):
    return re.findall(r"\|[^|]*\||[^ \t]+", line)


def first_wrong_line(lines):
    """The number of the first line that is wrong, from 1; the last one when the end is missing; None when all is well."""
    judge, complete, last = None, False, 0
    for last, line in enumerate(lines, 1):
        words = words_of(line)
        if not words or words[0].startswith(";"):
            continue
        try:
            if judge is None:
                require(words == ["tarku-certificate", "1"])
                judge = Judge()
                continue
            step = getattr(judge, "step_" + words[0].replace("-", "_"), None)
            require(step is not None)
            step(words[1:])
        except Wrong:
            return last
        if judge.finished:
            judge, complete = None, True
    return None if complete and judge is None else max(last, 1)
