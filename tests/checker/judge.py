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


class Judge:
    def __init__(self):
        self.check, self.reals, self.props, self.clauses = None, set(), {}, {}
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
        self.reals.add(int(words[0]))

    def step_bool(self, words):
        require(len(words) == 2 and variable(words[0]) not in self.props and symbol(words[1]))
        self.props[int(words[0])] = None

    def step_atom(self, words):
        require(len(words) >= 3 and words[-2] in MIRROR)
        p, relation, constant = variable(words[0]), words[-2], number(words[-1])
        require(p not in self.props)
        terms = {}
        for word in words[1:-2]:
            require("*" in word)
            coefficient, real = word.split("*", 1)
            require(variable(real) in self.reals and int(real) not in terms and number(coefficient) != 0)
            terms[int(real)] = number(coefficient)
        self.props[p] = (terms, relation, constant)

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
            require(self.props[abs(literal)] is not None)
            form, relation, constant = self.props[abs(literal)]
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
        require(all(self.props[abs(l)] is not None for l in literals))
        said = [self.props[l] if l > 0 else self.negated(-l) for l in literals]
        require(any(relation == "=" for _, relation, _ in said))
        equality = next(s for s in said if s[1] == "=")
        relations = sorted(self.against(equality, s) for s in said if s is not equality)
        require(relations == ["<", ">"])
        self.add(words[0], literals)

    def negated(self, p):
        terms, relation, constant = self.props[p]
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
            step = getattr(judge, "step_" + words[0], None)
            require(step is not None)
            step(words[1:])
        except Wrong:
            return last
        if judge.finished:
            judge, complete = None, True
    return None if complete and judge is None else max(last, 1)
