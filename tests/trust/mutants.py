"""The mutants of a C++ source: one small change each.

Works on tokens, and relies on this project's formatting: binary operators have blanks around them, and brackets of templates do
not. A change that does not compile is found later.
"""
import collections
import re

# Offset and length of the source text that `new` replaces.
Mutant = collections.namedtuple("Mutant", "kind offset length new")

TOKEN = re.compile(
    r"""(?P<comment>//[^\n]*|/\*.*?\*/)
      | (?P<directive>^[ \t]*\#(?:[^\n]*\\\n)*[^\n]*)
      | (?P<string>(?:u8|[uUL])?R"(?P<mark>[^(\s]*)\(.*?\)(?P=mark)"|(?:u8|[uUL])?"(?:\\.|[^"\\\n])*")
      | (?P<character>(?:u8|[uUL])?'(?:\\.|[^'\\\n])+')
      | (?P<number>\.?\d(?:[eEpP][+-]|'\w|[\w.])*)
      | (?P<word>[A-Za-z_]\w*)
      | (?P<operator><<=|>>=|\.\.\.|->\*|::|->|\+\+|--|<<|<=|>=|==|!=|&&|\|\||[-+*/%&|^]=|[^\s\w])
    """,
    re.VERBOSE | re.MULTILINE | re.DOTALL,
)

OPERATORS = {
    "<": ("<=", ">="), ">": (">=", "<="), "<=": ("<", ">"), ">=": (">", "<"), "==": ("!=",), "!=": ("==",),
    "+": ("-",), "-": ("+",), "*": ("/",), "/": ("*",), "%": ("*",), "&&": ("||",), "||": ("&&",),
    "&": ("|",), "|": ("&",), "^": ("|",), "<<": (">>",), ">>": ("<<",),
    "+=": ("-=",), "-=": ("+=",), "*=": ("/=",), "/=": ("*=",), "%=": ("*=",), "&=": ("|=",), "|=": ("&=",),
    "<<=": (">>=",), ">>=": ("<<=",),
}  # fmt: skip
WORDS = {"true": "false", "false": "true", "min": "max", "max": "min", "first": "last", "last": "first"}
NO_STATEMENT = {
    "auto", "case", "catch", "class", "const", "constexpr", "default", "do", "else", "enum", "explicit", "extern", "for", "friend",
    "goto", "if", "inline", "namespace", "private", "protected", "public", "return", "static", "static_assert", "struct", "switch",
    "template", "throw", "try", "typedef", "typename", "union", "using", "virtual", "while",
}  # fmt: skip
TYPE_SCOPES = {"class", "struct", "union", "namespace", "enum", "extern"}

Token = collections.namedtuple("Token", "kind text offset")


def tokens_of(source):
    tokens = []
    for match in TOKEN.finditer(source):
        if match.lastgroup in ("comment", "directive"):
            continue
        kind = "string" if match.group("string") else match.lastgroup
        tokens.append(Token(kind, match.group(), match.start()))
    return tokens


def enumerators_of(sources):
    """{enumerator: the next one of its enumeration}"""
    following = {}
    for source in sources:
        code = re.sub(r"//[^\n]*|/\*.*?\*/", "", source, flags=re.DOTALL)
        for body in re.findall(r"\benum\b[^;{}()]*\{([^{}]*)\}", code):
            names = re.findall(r"(?:^|,)\s*([A-Za-z_]\w*)", body)
            for i, name in enumerate(names):
                if len(names) > 1:
                    following.setdefault(name, names[(i + 1) % len(names)])
    return following


def closing(tokens, i):
    """The index of the bracket that closes the one at i, or the end."""
    depth = 0
    for j in range(i, len(tokens)):
        if tokens[j].text in ("(", "[", "{"):
            depth += 1
        elif tokens[j].text in (")", "]", "}"):
            depth -= 1
            if depth == 0:
                return j
    return len(tokens) - 1


def number_changes(text):
    match = re.fullmatch(r"(0[xX][0-9a-fA-F]+|\d+)([uUlL]*)", text)
    if match:
        digits, suffix = match.groups()
        base = 16 if digits[:2].lower() == "0x" else 10
        value = int(digits, base)
        form = "0x{:x}" if base == 16 else "{}"
        return [form.format(n) + suffix for n in (value + 1, value - 1) if n >= 0]
    match = re.fullmatch(r"(\d+)(\.\d+\w*)", text)
    return [str(int(match.group(1)) + 1) + match.group(2)] if match else []


def other_character(character):
    if character in "zZ9":
        return chr(ord(character) - 1)
    return chr(ord(character) + 1)


def string_changes(text):
    """One character in the middle, letters and digits outside escapes first."""
    quote = text.index('"') + 1
    if quote > 1 and "R" in text[:quote]:
        return []
    if len(text) == quote + 1:
        return [text[:quote] + "x" + text[quote:]]
    places = [m.start() for m in re.finditer(r"(?<![\\%])[A-Za-z0-9]", text) if m.start() >= quote]
    places = [i for i in places if not re.search(r"\\(x[0-9a-fA-F]*|u[0-9a-fA-F]{0,3}|[0-7]{0,2})$", text[quote:i])]
    if places:
        i = places[len(places) // 2]
        return [text[:i] + other_character(text[i]) + text[i + 1 :]]
    return [text[:-1] + "x" + text[-1]]


def scopes_of(tokens):
    """For each token: whether the innermost braces around it are those of code. Also the set of tokens inside an enumeration."""
    stack, inside, in_enumeration = [], [], set()
    start = 0
    for i, token in enumerate(tokens):
        inside.append(bool(stack) and stack[-1] == "code")
        if stack and stack[-1] == "enum":
            in_enumeration.add(i)
        if token.text == "{":
            head = [t.text for t in tokens[start:i]]
            # What is before an opening bracket: a parameter list or a keyword for code, a class head, else values.
            if any(word in TYPE_SCOPES for word in head) and "(" not in head:
                stack.append("enum" if "enum" in head else "type")
            elif head and (head[-1] in (")", "else", "do", "try", "const", "noexcept", "override", "mutable", "]")) or not head:
                stack.append("code")
            elif head[-1] in ("HWY_ATTR",) or "->" in head:
                stack.append("code")
            else:
                stack.append("values")
            start = i + 1
        elif token.text == "}":
            if stack:
                stack.pop()
            start = i + 1
        elif token.text == ";":
            start = i + 1
    return inside, in_enumeration


def statement_end(tokens, i):
    """The index of the semicolon of the expression statement that begins at i, or None."""
    first = tokens[i]
    if first.text in ("break", "continue", "return") and i + 1 < len(tokens) and tokens[i + 1].text == ";":
        return i + 1
    if first.kind != "word" and first.text not in ("*", "++", "--", "("):
        return None
    if first.text in NO_STATEMENT:
        return None
    acts = first.text in ("delete", "++", "--")
    j = i
    while j < len(tokens) and tokens[j].text != ";":
        token = tokens[j]
        if token.text in ("(", "["):
            acts = acts or token.text == "("
            j = closing(tokens, j)
        elif token.text in ("{", "}"):
            return None
        elif not acts and j > i and token.kind == "word" and tokens[j - 1].kind == "word" and first.text != "delete":
            return None  # a declaration
        elif re.fullmatch(r"[-+*/%&|^]?=|<<=|>>=|\+\+|--", token.text):
            if not acts and tokens[i + 1].text in ("<", "&", "*"):
                return None
            acts = True
        j += 1
    return j if acts and j < len(tokens) else None


def mutants_of(source, enumerators):
    tokens = tokens_of(source)
    inside, in_enumeration = scopes_of(tokens)
    found = []
    skip_to = 0

    def add(kind, token, new, length=None):
        found.append(Mutant(kind, token.offset, len(token.text) if length is None else length, new))

    for i, token in enumerate(tokens):
        text = token.text
        if i < skip_to:
            continue
        if text == "static_assert":
            skip_to = closing(tokens, i + 1) + 1
            continue
        before = source[token.offset - 1] if token.offset else "\n"
        end = token.offset + len(text)
        after = source[end] if end < len(source) else "\n"
        previous = tokens[i - 1].text if i else ";"
        if token.kind == "operator":
            line = source[source.rfind("\n", 0, token.offset) + 1 : source.find("\n", token.offset)]
            if text in ("<<", ">>") and re.search(r'"|\bqC|stream|log', line):
                continue  # of streams
            if text in OPERATORS and before.isspace() and after.isspace() and previous not in ("operator", ","):
                for new in OPERATORS[text]:
                    add("operator", token, new)
            elif text in ("++", "--"):
                add("operator", token, "--" if text == "++" else "++")
            elif text == "!" and not after.isspace():
                add("condition", token, "")
            elif text == "-" and not after.isspace() and previous not in (")", "]"):
                add("operator", token, "")
            elif text == "?" and before.isspace():
                add("condition", token, "|| true ?")
                add("condition", token, "&& false ?")
        elif token.kind == "number":
            for new in number_changes(text):
                add("constant", token, new)
        elif token.kind == "character":
            body = text[text.index("'") + 1 : -1]
            if len(body) == 1:
                add("constant", token, text[:-2] + other_character(body) + "'" if body not in "\\'" else text)
        elif token.kind == "string":
            for new in string_changes(text):
                add("string", token, new)
        elif token.kind == "word":
            following = tokens[i + 1].text if i + 1 < len(tokens) else ""
            if text in ("true", "false") or (text in WORDS and following in ("(", "<", "({")):
                add("constant" if text in ("true", "false") else "call", token, WORDS[text])
            elif text in enumerators and i not in in_enumeration and previous not in (".", "->", "namespace"):
                add("enumerator", token, enumerators[text])
            elif text in ("if", "while"):
                opening = i + 1
                while opening < len(tokens) and tokens[opening].text != "(":
                    opening += 1
                close = closing(tokens, opening)
                first = opening + 1
                for j in range(opening + 1, close):
                    if tokens[j].text == ";":
                        first = j + 1
                if first < close:
                    begin = tokens[first].offset
                    condition = source[begin : tokens[close].offset]
                    found.append(Mutant("condition", begin, len(condition), f"!({condition})"))
        if inside[i] and previous in (";", "{", "}", ")", "else", ":"):
            semicolon = statement_end(tokens, i)
            if semicolon is not None:
                length = tokens[semicolon].offset + 1 - token.offset
                found.append(Mutant("statement", token.offset, length, ";"))
    return [mutant for mutant in found if source[mutant.offset : mutant.offset + mutant.length] != mutant.new]


def shown(source, mutant):
    """The changed lines before and after, each as one line without the blanks around it."""
    begin = source.rfind("\n", 0, mutant.offset) + 1
    end = source.find("\n", mutant.offset + mutant.length)
    end = len(source) if end < 0 else end
    old = source[begin:end]
    new = source[begin : mutant.offset] + mutant.new + source[mutant.offset + mutant.length : end]
    return " ".join(old.split()), " ".join(new.split())


def applied(source, mutant):
    # As many lines as before: line numbers in log texts stay.
    removed = source[mutant.offset : mutant.offset + mutant.length]
    lines = "\n" * (removed.count("\n") - mutant.new.count("\n"))
    return source[: mutant.offset] + mutant.new + lines + source[mutant.offset + mutant.length :]
