"""Finds the places where a C++ source text can be changed, each with the change.

Works on tokens, not on a syntax tree: a change that does not compile is found out by the compiler and
does not count. It relies on the text being formatted by clang-format (blanks around binary operators,
none around template brackets).

    >>> text = 'bool f(int a) {\\n  if (a < 3) {\\n    g(a, 1);\\n  }\\n  return h(a);\\n}\\n'
    >>> for place in places(text):
    ...     if place.kind != 'lock added': print(place.kind, '|', text[place.begin:place.end], '->', place.replacement)
    condition negated | a < 3 -> !(a < 3)
    comparison off by one | < -> <=
    constant changed | 3 -> 4
    statement dropped | g(a, 1); -> ;
    neighbours swapped | a, 1 -> 1, a
    constant changed | 1 -> 2
    result negated | h(a) -> !(h(a))
    >>> [p.kind for p in places('void f() {\\n  const std::lock_guard<std::mutex> lock(m);\\n  c.notify_all();\\n}\\n')]
    ['lock added', 'call moved out of a lock', 'call moved out of a lock', 'call moved out of a lock', 'lock dropped', 'notification dropped', 'notification to one']
    >>> def replaced(kind, text):
    ...     return [' '.join((text[:p.begin] + p.replacement + text[p.end:]).split()) for p in places(text) if p.kind == kind]
    >>> replaced('call moved into a lock', 'void f() {\\n  {\\n    const std::lock_guard<std::mutex> lock(m);\\n  }\\n  g();\\n}\\n')
    ['void f() { { const std::lock_guard<std::mutex> lock(m); g(); }}']
    >>> replaced('call moved into a lock', 'void f() {\\n  g();\\n  const std::lock_guard<std::mutex> lock(m);\\n}\\n')
    ['void f() { const std::lock_guard<std::mutex> lock(m); g(); }']
    >>> replaced('releases swapped', 'void f() {\\n  const auto a = g();\\n  const auto b = a->h();\\n}\\n')
    ['void f() { std::shared_ptr<const void> later; const auto a = g(); const auto b = a->h(); later = b; }']
    >>> replaced('releases swapped', 'class A {\\n  int f();\\n  B b;\\n\\n  // Why.\\n  C c;\\n};\\n')
    ['class A { int f(); C c; B b; };']
    >>> replaced('static leaked', 'void f() {\\n  static const A a("b");\\n}\\n')
    ['void f() { static const A& a = *new A("b"); }']
"""

import re
from dataclasses import dataclass

TOKEN = re.compile(
    r"""(?P<skip>\s+|//[^\n]*|/\*.*?\*/|^[ \t]*\#[^\n]*)
      |(?P<string>(?:u8|[uUL])?"(?:\\.|[^"\\])*")
      |(?P<char>L?'(?:\\.|[^'\\])+')
      |(?P<number>0[xX][0-9a-fA-F]+|\d+)
      |(?P<word>[A-Za-z_]\w*)
      |(?P<sign>::|->|<<=|>>=|<=|>=|==|!=|&&|\|\||<<|\+\+|--|\+=|-=|.)""",
    re.VERBOSE | re.DOTALL | re.MULTILINE,
)

COMPARISONS = {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "=="}
JUNCTIONS = {"&&": "||", "||": "&&"}
BRACKETS = {"(": ")", "[": "]", "{": "}"}
HEADED = {"if", "while", "for", "switch", "catch"}
TRIVIAL = {"bool", "int", "uint32_t", "mutex", "&"}
LOCKS = {"lock_guard", "unique_lock"}
ADDED_LOCK = "static std::mutex addedMutex; const std::lock_guard<std::mutex> addedLock(addedMutex);"
# A statement that begins so declares something or cannot go.
NO_ACTION = {"const", "using", "auto", "static", "constexpr", "class", "struct", "return", "template", "std", "throw"}


@dataclass(frozen=True)
class Place:
    kind: str
    begin: int
    end: int
    replacement: str


@dataclass
class Token:
    kind: str
    text: str
    begin: int
    end: int
    match: int = -1  # index of the bracket that belongs to this one
    outer: int = -1  # index of the innermost bracket that is open here


def tokens_of(text):
    tokens = []
    open_brackets = []
    for found in TOKEN.finditer(text):
        if found.lastgroup == "skip":
            continue
        token = Token(found.lastgroup, found.group(), found.start(), found.end())
        if token.text in BRACKETS.values() and token.kind == "sign":
            token.match = open_brackets.pop()
            tokens[token.match].match = len(tokens)
        token.outer = open_brackets[-1] if open_brackets else -1
        if token.text in BRACKETS and token.kind == "sign":
            open_brackets.append(len(tokens))
        tokens.append(token)
    return tokens


class Source:
    def __init__(self, text):
        self.text = text
        self.tokens = tokens_of(text)
        self.bodies = {i for i, t in enumerate(self.tokens) if t.text == "{" and self._opens_body(i)}

    def _head(self, index):
        """Tokens of what stands before the bracket, back to the last statement or block."""
        first = index
        while first > 0 and not (
            self.tokens[first - 1].outer == self.tokens[index].outer and self.tokens[first - 1].text in (";", "}")
            or first - 1 == self.tokens[index].outer
        ):
            first -= 1
        return self.tokens[first:index]

    def _opens_body(self, index):
        head = self._head(index)
        if not head:
            return True
        words = {t.text for t in head if t.outer == self.tokens[index].outer}
        if words & {"namespace", "enum"} or (words & {"class", "struct"} and head[-1].text != ")"):
            return False
        return head[-1].text in (")", "const", "noexcept", "override", "mutable", "else", "do", "try", "]", ":", "}")

    def in_body(self, index):
        outer = self.tokens[index].outer
        while outer >= 0:
            if outer in self.bodies:
                return True
            outer = self.tokens[outer].outer
        return False

    def returns_bool(self, index):
        outer = self.tokens[index].outer
        while outer >= 0 and (outer not in self.bodies or self._head(outer)[:1] and self._head(outer)[0].text in HEADED):
            outer = self.tokens[outer].outer
        return outer >= 0 and bool(self._head(outer)) and self._head(outer)[0].text == "bool"

    def statements(self):
        """Index ranges (first, last) of the statements that end in a semicolon."""
        for body in sorted(self.bodies):
            first = body + 1
            for index in range(body + 1, self.tokens[body].match):
                token = self.tokens[index]
                if token.outer != body:
                    continue
                if token.text == ";" and index >= first:
                    yield first, index
                ends_head = token.text == ")" and self.tokens[token.match - 1].text in HEADED
                ends_block = token.text == "}" and token.match in self.bodies
                ends_label = token.text == ":" and self.tokens[first].text in ("case", "default")
                if token.text in (";", "else", "do") or ends_head or ends_block or ends_label:
                    first = index + 1

    def items(self, body):
        """Index ranges of what stands directly in a body: statements, and whole blocks with their heads."""
        first = body + 1
        for index in range(body + 1, self.tokens[body].match):
            token = self.tokens[index]
            ends_block = token.text == "}" and token.match in self.bodies and self.tokens[index + 1].text not in ("else", "catch", ")", ";", ",")
            if token.outer == body and (token.text == ";" or ends_block):
                yield first, index
                first = index + 1

    def is_function(self, body):
        """Whether the body is that of a function outside of unnamed namespaces and of other functions."""
        if self.in_body(body) or self.tokens[body - 1].text == "]":
            return False
        outer = self.tokens[body].outer
        while outer >= 0:
            if self.tokens[outer - 1].text in ("namespace", "struct", "class"):
                return False
            outer = self.tokens[outer].outer
        head = self._head(body)
        return bool(head) and any(token.text == "(" for token in head)

    def is_trivial(self, member):
        """Whether nothing happens when the member is released."""
        return bool(TRIVIAL & {token.text for token in self.tokens[member[0] : member[0] + 5]})

    def members(self):
        """Runs of index ranges of the data members that follow one another in a class."""
        for index, token in enumerate(self.tokens):
            if token.text == "{" and index not in self.bodies and {"class", "struct"} & {t.text for t in self._head(index)}:
                run, first = [], index + 1
                for last in range(index + 1, token.match):
                    if self.tokens[last].outer == index and self.tokens[last].text in (";", ":", "}") and self.tokens[last - 1].text != ":" and self.tokens[last + 1].text != ":":
                        words = {t.text for t in self.tokens[first:last]}
                        if self.tokens[last].text == ";" and last > first + 1 and not words & {"(", "using", "friend", "static", "class", "struct"}:
                            run.append((first, last))
                        elif self.tokens[last].text != ":":
                            yield run
                            run = []
                        first = last + 1
                yield run

    def arguments(self, bracket):
        """Text ranges of what the commas directly inside the bracket separate."""
        begin = self.tokens[bracket].end
        for index in range(bracket + 1, self.tokens[bracket].match + 1):
            token = self.tokens[index]
            if index == self.tokens[bracket].match or (token.outer == bracket and token.text == ","):
                yield stripped(self.text, begin, token.begin)
                begin = token.end


def stripped(text, begin, end):
    piece = text[begin:end]
    return begin + len(piece) - len(piece.lstrip()), end - (len(piece) - len(piece.rstrip()))


def spaced(text, token):
    return text[token.begin - 1] in " \n" and text[token.end] in " \n"


def token_places(source):
    text, tokens = source.text, source.tokens
    for index, token in enumerate(tokens):
        if token.kind == "number":
            yield Place("constant changed", token.begin, token.end, str(int(token.text, 0) + 1))
        elif token.kind == "string":
            yield Place("constant changed", token.begin, token.end, token.text.replace('"', '"~', 1))
        elif token.kind == "char":
            yield Place("constant changed", token.begin, token.end, "'~'")
        elif token.text in ("true", "false"):
            yield Place("constant changed", token.begin, token.end, "false" if token.text == "true" else "true")
        elif token.text in COMPARISONS and spaced(text, token) and tokens[index - 1].text != "operator":
            kind = "condition negated" if token.text in ("==", "!=") else "comparison off by one"
            yield Place(kind, token.begin, token.end, COMPARISONS[token.text])
        elif token.text in JUNCTIONS and spaced(text, token):
            yield Place("condition changed", token.begin, token.end, JUNCTIONS[token.text])
        elif token.text == "!" and source.in_body(index):
            yield Place("condition negated", token.begin, token.end, "")
        elif token.text == "notify_all":
            yield Place("notification to one", token.begin, token.end, "notify_one")


def condition_places(source):
    text, tokens = source.text, source.tokens
    for index, token in enumerate(tokens):
        if token.text in ("if", "while") and tokens[index + 1].text == "(":
            begin = tokens[index + 1].end
            end = tokens[tokens[index + 1].match].begin
            signs = {t.text for t in tokens[index + 2 : tokens[index + 1].match] if t.outer == index + 1}
            if "=" in signs:
                yield Place("condition negated", begin, end, f"{text[begin:end]}; false")
            elif signs & set(JUNCTIONS) or not signs & {"==", "!=", "!"}:  # else its sign is negated already
                yield Place("condition negated", begin, end, f"!({text[begin:end]})")
        elif token.text == "?":
            colon = next(i for i in range(index, len(tokens)) if tokens[i].text == ":" and tokens[i].outer == token.outer)
            end = next(
                i for i in range(colon, len(tokens))
                if (tokens[i].text in (";", ",") and tokens[i].outer == token.outer) or i == tokens[token.outer].match
            )
            first = stripped(text, token.end, tokens[colon].begin)
            second = stripped(text, tokens[colon].end, tokens[end].begin)
            swapped = f"{text[slice(*second)]} : {text[slice(*first)]}"
            yield Place("condition negated", first[0], second[1], swapped)


def statement_places(source):
    text, tokens = source.text, source.tokens
    previous = None
    for first, last in source.statements():
        if first == last:
            continue
        begin, end = tokens[first].begin, tokens[last].end
        words = [t.text for t in tokens[first:last]]
        is_action = words[0] not in NO_ACTION or (words[0] == "std" and words[:3] in (["std", "::", "move"], ["std", "::", "rethrow_exception"]))
        if "lock_guard" in words or "unique_lock" in words:
            if words[-1] == ")":
                opening = tokens[last - 1].match
                lock = text[begin : tokens[opening].begin]
                yield Place("lock dropped", begin, end, f"std::mutex unshared; {lock}(unshared);")
        elif words[0] == "return" and last > first + 1:
            value = stripped(text, tokens[first].end, tokens[last].begin)
            if source.returns_bool(first) and words[1:] not in (["true"], ["false"]):
                yield Place("result negated", *value, f"!({text[slice(*value)]})")
            elif words[-1] == ")" and words[1] not in ("std", "impl_"):
                yield Place("statement dropped", *value, "")
        elif words[0] == "throw":
            yield Place("statement dropped", begin, end, ";")
        elif is_action:
            kind = "notification dropped" if "notify_all" in words or "notify" in words else "statement dropped"
            yield Place(kind, begin, end, ";")
            if previous and previous[2] == tokens[first].outer and not words[0] in ("break", "continue"):
                between = text[previous[1] : begin]
                if not between.strip():
                    yield Place("neighbours swapped", previous[0], end, text[begin:end] + between + text[previous[0] : previous[1]])
            previous = begin, end, tokens[first].outer
            continue
        previous = None


def is_lock(tokens):
    return bool(LOCKS & {token.text for token in tokens}) and tokens[-1].text == ";"


def lock_places(source):
    """Changes of what happens inside of a lock's scope, which ends with its block."""
    text, tokens = source.text, source.tokens
    for body in sorted(source.bodies):
        items = list(source.items(body))
        spans = [(tokens[first].begin, tokens[last].end) for first, last in items]
        for number, (first, last) in enumerate(items):
            begin, end = spans[number]
            before, behind = spans[:number], spans[number + 1 :]
            if is_lock(tokens[first : last + 1]):
                lock = text[begin:end]
                if before:
                    moved = text[slice(*before[-1])]
                    yield Place("call moved into a lock", before[-1][0], end, f"{lock} {moved}")
                yield Place("call moved out of a lock", begin, end, f"{{ {lock} }}")
                if behind:
                    moved = text[slice(*behind[0])]
                    yield Place("call moved out of a lock", begin, behind[0][1], f"{moved} {lock}")
                    kept = text[begin : behind[-1][0]]
                    yield Place("call moved out of a lock", begin, behind[-1][1], f"{{ {kept} }} {text[slice(*behind[-1])]}")
            elif tokens[first].text == "{" and behind and is_lock(tokens[first + 1 : next(source.items(first))[1] + 1]):
                rest = text[end : tokens[tokens[body].match].begin]
                inside = text[begin : end - 1]
                yield Place("call moved into a lock", begin, end + len(rest), f"{inside}{rest}}}")
        if source.is_function(body):
            yield Place("lock added", tokens[body].begin, tokens[body].end, f"{{ {ADDED_LOCK}")


def release_places(source):
    """Changes of the order in which things are released, which is the reverse one of their declarations."""
    text, tokens = source.text, source.tokens
    for body in sorted(source.bodies):
        declared = []
        for first, last in source.items(body):
            words = [token.text for token in tokens[first : last + 1]]
            if words[:2] == ["if", "("] and words[2:4] == ["const", "auto"]:
                name = next(w for w in words[4:] if w not in ("*", "&"))
                opening = next(i for i in range(first, last) if i in source.bodies)
                position = tokens[opening].end
            elif words[:2] == ["const", "auto"] and words[2] not in ("*", "&", "["):
                name, position = words[2], tokens[last].end
            else:
                continue
            if declared:
                begin = declared[-1]
                yield Place("releases swapped", begin, position, f"std::shared_ptr<const void> later; {text[begin:position]} later = {name};")
            declared.append(tokens[first].begin)
    for run in source.members():
        for one, other in zip(run, run[1:]):
            if source.is_trivial(one) or source.is_trivial(other):
                continue
            begin, end = tokens[one[0]].begin, tokens[other[1]].end
            one, other = (text[tokens[first].begin : tokens[last].end] for first, last in (one, other))
            yield Place("releases swapped", begin, end, f"{other} {one}")


def static_places(source):
    """Statics that are never destroyed."""
    text, tokens = source.text, source.tokens
    for first, last in source.statements():
        words = [token.text for token in tokens[first:last]]
        if words[:1] != ["static"] or "(" not in words and "=" not in words:
            continue
        split = next(i for i in range(first, last) if tokens[i].text in ("(", "{", "="))
        kind = text[tokens[first + 1].begin : tokens[split - 1].begin].strip()
        value = text[tokens[split].begin : tokens[last].begin].lstrip("= ") if tokens[split].text == "=" else text[tokens[split].begin + 1 : tokens[tokens[split].match].begin]
        made = kind.removeprefix("const ")
        yield Place("static leaked", tokens[first].begin, tokens[last].end, f"static {kind}& {tokens[split - 1].text} = *new {made}({value});")


def argument_places(source):
    text, tokens = source.text, source.tokens
    for index, token in enumerate(tokens):
        is_call = token.text == "(" and tokens[index - 1].kind == "word" and tokens[index - 1].text not in HEADED
        is_list = token.text == "{" and index not in source.bodies
        if not (is_call or is_list) or not source.in_body(index):
            continue
        arguments = list(source.arguments(index))
        for left, right in zip(arguments, arguments[1:]):
            one, other = text[slice(*left)], text[slice(*right)]
            if one and other and one != other:
                yield Place("neighbours swapped", left[0], right[1], other + text[left[1] : right[0]] + one)


SEARCHES = (token_places, condition_places, statement_places, lock_places, release_places, static_places, argument_places)


def places(text):
    """All places of the text, in its order."""
    source = Source(text)
    found = {
        place
        for search in SEARCHES
        for place in search(source)
    }
    return sorted(found, key=lambda place: (place.begin, -place.end, place.kind))


if __name__ == "__main__":
    import doctest
    import sys

    sys.exit(1 if doctest.testmod().failed else 0)
