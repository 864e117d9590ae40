#!/usr/bin/env python3
"""Prints a header for Doxygen: its plain comments as documentation. Of a text in Markdown the links
go to whole pages: Doxygen does not know headings by these names.

A comment in front of a declaration, with no empty line between, is the declaration's; one behind it on
its line is so too. One that begins "Name: " is the contract of that class: the words with which its
paragraphs begin (Story, Threads, ...) become headings, and what is laid out in columns stays so. One that
stands by itself is the title of the declarations below it, or the file's, before the first of them.
Comments in functions are nobody's. Usage: filter.py FILE
"""
import re
import sys

COMMENT = re.compile(r"^( *)//(?: (.*))?$")
TRAILING = re.compile(r"^(.*?\S) *// (.+)$")
SECTION = re.compile(r"^([A-Z][a-z]+) {2,}(\S.*)$")
ACCESS = re.compile(r"^ *(public|protected|private):$")
TYPE = re.compile(r"\b(class|struct|union|enum|namespace|extern)\b[^()]*$")
DECLARATION = re.compile(r"^(class|struct|enum|template|using|[A-Z_]+_EXPORT|inline|extern)\b")
FOR_OTHERS = re.compile(r"^(NOLINT|clang-format|IWYU)")


def escaped(text):
    """Text without anything that Doxygen would take for a command."""
    text = re.sub(r"([\\@<>&#%$])", r"\\\1", text).replace("--", r"\--").replace("*/", "* /")
    return re.sub(r"`([^`]+)`", r"<tt>\1</tt>", text)


def capital(text):
    return text[:1].upper() + text[1:]


def documentation(lines):
    """A comment's lines, the first of them a sentence: words with columns behind them are headings."""
    said = [escaped(lines[0])]
    number = 1
    while number < len(lines):
        section = SECTION.match(lines[number])
        end = number + 1
        while end < len(lines) and not SECTION.match(lines[end]):
            end += 1
        part = lines[number:end]
        if section:
            said.append(rf"@par {section[1]}")
            indent = len(lines[number]) - len(section[2])
            part = [section[2]] + [line[indent:] if line.startswith(" " * indent) else line.strip()
                                   for line in part[1:]]
        said += in_columns(part) if section else [escaped(line) for line in part]
        number = end
    return said


def in_columns(lines):
    """Lines of which some are a table: that part stays as it is laid out."""
    table = [bool(re.search(r"\S {2,}\S", line)) for line in lines]
    if sum(table) < 2:
        return [escaped(line) for line in lines]
    first, last = table.index(True), len(table) - 1 - table[::-1].index(True)
    return ([escaped(line) for line in lines[:first]] + ["@verbatim"] + lines[first:last + 1] +
            ["@endverbatim"] + [escaped(line) for line in lines[last + 1:]])


def as_comment(lines, indent, opening="/**"):
    return [f"{indent}{opening} {lines[0]}"] + [f"{indent}{line}" for line in lines[1:-1]] + \
        [f"{indent}{lines[-1]} */"] if len(lines) > 1 else [f"{indent}{opening} {lines[0]} */"]


class Scopes:
    """In what the reader is: types and namespaces, or the body of something."""

    def __init__(self):
        self.open = []
        self.parts = ""  # of the statement that has begun

    def read(self, code):
        code = re.sub(r"\"(\\.|[^\"\\])*\"|'(\\.|[^'\\])*'", "''", code)
        if code.lstrip().startswith("#") or ACCESS.match(code):
            return
        for character in code + " ":
            if character == "{":
                self.open.append("type" if TYPE.search(self.parts) else "body")
                self.parts = ""
            elif character == "}":
                self.open.pop()
                self.parts = ""
            elif character == ";":
                self.parts = ""
            else:
                self.parts += character

    def may_declare(self):
        return "body" not in self.open

    def is_between(self):
        return self.may_declare() and not self.parts.strip()


class Header:
    def __init__(self, lines):
        self.lines = lines
        self.scopes = Scopes()
        self.out = []
        self.group_depth = None  # of the scopes where a group of declarations is open
        self.has_declared = False
        self.trailing_indent = None  # of the line behind which a comment may go on

    def end_group(self):
        if self.group_depth is not None:
            self.out.append("/**@}*/")
            self.group_depth = None

    def statement(self, number):
        """The declaration that begins on a line, up to its body."""
        text = ""
        for line in self.lines[number:number + 10]:
            text += line + "\n"
            if re.search(r"[;{]", line):
                break
        return text

    def block(self, number):
        """The end of the comment that begins on a line, and its text."""
        indent = COMMENT.match(self.lines[number])[1]
        text = []
        while number < len(self.lines):
            comment = COMMENT.match(self.lines[number])
            if not comment or comment[1] != indent:
                break
            text.append(comment[2] or "")
            number += 1
        return number, indent, text

    def take_block(self, number):
        end, indent, text = self.block(number)
        following = self.lines[end] if end < len(self.lines) else ""
        if re.match(r" *($|\}|#(?!define)|(public|protected|private):)", following):
            self.title(indent, text)
        else:
            name = re.match(r"^(\w+): ", text[0])
            declared = name and re.search(rf"\b{name[1]}\b", self.statement(end))
            if declared:
                text[0] = capital(text[0][name.end():])
            self.out += as_comment(documentation(text), indent)
        return end

    def title(self, indent, text):
        if not self.has_declared:
            self.out += as_comment(["@file"] + documentation(text), indent)
            return
        self.end_group()
        sentence = re.match(r"^(.*?[^.])\.(?: (.*))?$", " ".join(text))
        title, rest = (sentence[1], sentence[2]) if sentence else (" ".join(text), None)
        self.out += as_comment([f"@name {escaped(title)}"] + ([escaped(rest)] if rest else []) +
                               ["@{"], indent)
        self.group_depth = len(self.scopes.open)

    def take_code(self, line):
        trailing = TRAILING.match(line)
        code = trailing[1] if trailing else line
        if ACCESS.match(line) or (self.group_depth is not None and line.strip().startswith("}") and
                                  len(self.scopes.open) == self.group_depth):
            self.end_group()
        began_outside = self.scopes.may_declare()
        self.scopes.read(code)
        self.has_declared |= bool(self.scopes.open or DECLARATION.match(line))
        is_declaration = began_outside and self.scopes.may_declare() and code.strip()[:1] not in "}#/"
        self.trailing_indent = None
        if trailing and is_declaration and not code.endswith("{") and not FOR_OTHERS.match(trailing[2]):
            self.trailing_indent = len(code)
            line = f"{code}  ///< {escaped(trailing[2])}"
        self.out.append(line)

    def goes_on_behind(self, line):
        comment = COMMENT.match(line)
        return comment and self.trailing_indent is not None and len(comment[1]) >= self.trailing_indent

    def filtered(self):
        number = 0
        while number < len(self.lines):
            line = self.lines[number]
            if self.goes_on_behind(line):
                self.out.append(line.replace("// ", "///< ", 1))
                number += 1
            elif COMMENT.match(line) and self.scopes.is_between():
                number = self.take_block(number)
            else:
                self.take_code(line)
                number += 1
        self.end_group()
        return self.out


def main():
    with open(sys.argv[1], encoding="utf-8") as file:
        text = file.read()
    if sys.argv[1].endswith(".md"):
        text = re.sub(r"\[([^]]+)\]\(#[^)]+\)", r"\1", text)
        print(re.sub(r"(\]\([^)#:]+)#[^)]+\)", r"\1)", text), end="")
        return
    lines = text.splitlines()
    out = Header(lines).filtered()
    if not any("@file" in line for line in out):
        out.append("/** @file */")
    print("\n".join(out))


if __name__ == "__main__":
    main()
