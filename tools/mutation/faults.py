"""The small faults that can be planted in a source of the library, in the order of the text."""
import re

SWAPPED = {
    " < ": " <= ", " <= ": " < ", " > ": " >= ", " >= ": " > ", " == ": " != ", " != ": " == ",
    " && ": " || ", " || ": " && ", " + ": " - ", " - ": " + ", " += ": " -= ", " -= ": " += ",
    "++": "--", "true": "false", "false": "true",
}
OPERATOR = re.compile(r" (?:[<>]=?|[=!]=|&&|\|\||[+-]=?) |\+\+|\b(?:true|false)\b")
NUMBER = re.compile(r"(?<![\w.'])(?:0x[0-9a-fA-F]+|[0-9]+)(?=[uUlL]*\b(?!\.))")
CONDITION = re.compile(r"\b((?:if|while) \()(.+)(\) ?[{;])")
STATEMENT = re.compile(r"( +)(?!return|throw|break|continue|static_assert)"
                       r"[\w*(][\w.:>\[\]()*&-]*(?:\(.*\)| [-+|&]?= .+|\+\+);$")
RESULT = re.compile(r"(\breturn )((?!\{).+)(;)")
NO_CODE = re.compile(r"\s*(#|//|///|\*|template|class|struct|enum|namespace|extern|using)")


def in_texts(line):
    """The stretches of a line that are literals or comments, where no fault is planted."""
    return [match.span() for match in re.finditer(r'"(?:\\.|[^"\\])*"|\'(?:\\.|[^\'\\])\'|//.*', line)]


def in_line(line):
    """Yields what becomes of the line, once for each fault."""
    texts = in_texts(line)

    def replace(match, text):
        return line[:match.start()] + text + line[match.end():]

    def is_code(match):
        return not any(start < match.end() and match.start() < end for start, end in texts)

    for match in filter(is_code, OPERATOR.finditer(line)):
        yield replace(match, SWAPPED[match[0]])
    for match in filter(is_code, NUMBER.finditer(line)):
        yield replace(match, f"({match[0]} + 1)")
    for match in CONDITION.finditer(line):
        if " == " in match[2] or " != " in match[2]:
            continue  # is among the operators already
        yield replace(match, f"{match[1]}!({match[2]}){match[3]}")
    if match := STATEMENT.match(line):
        yield replace(match, f"{match[1]};")
    for match in RESULT.finditer(line):
        if match[2] not in ("true", "false", "nullptr", "0"):
            yield replace(match, "return {};")


def in_source(text):
    """Yields (number of the line, the line as it is, the line with a fault)."""
    for number, line in enumerate(text.split("\n"), 1):
        if not NO_CODE.match(line):
            for changed in in_line(line):
                yield number, line, changed
