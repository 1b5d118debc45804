#!/usr/bin/env python3
"""Doxygen INPUT_FILTER for the library's headers.

The headers are commented with plain // lines, which Doxygen ignores. This
filter rewrites a header, as Doxygen reads it, so that:
  - the comment block at the top of the file becomes the file's documentation
    (a \\file block);
  - a run of // lines directly above a declaration becomes that declaration's
    /// documentation;
  - lines indented inside such a comment (the examples) become \\code blocks,
    except indented lists ("- item"), which stay Markdown lists;
  - characters that Doxygen would take as commands or HTML (\\ @ < > & # % $)
    are escaped outside `code spans`.
Every other line passes through unchanged. Usage: doxygen_filter.py FILE
"""

import re
import sys

COMMENT = re.compile(r"^(\s*)//(?!/)(.*)$")
# Lines after which a comment run is not documentation of the next line.
NOT_A_DECLARATION = re.compile(
    r"^\s*($|}|(public|private|protected)\s*:|#\s*(endif|include|if|ifdef|ifndef|else|elif|undef)\b)"
)
ESCAPE = re.compile(r"([\\@<>&#%$])")


def escape_prose(text, in_span):
    """Escapes Doxygen's special characters outside backtick spans and outside
    "quoted strings" (Doxygen takes both literally). A backtick span may go on
    to the next line; a quoted string ends on its line. Returns the text and
    whether a backtick span is still open at its end."""
    out = []
    i = 0
    n = len(text)
    while i < n:
        c = text[i]
        if in_span:
            end = text.find("`", i)
            if end < 0:
                out.append(text[i:])
                break
            out.append(text[i : end + 1])
            i = end + 1
            in_span = False
        elif c == "`":
            out.append(c)
            in_span = True
            i += 1
        elif c == '"' and text.find('"', i + 1) > 0:
            end = text.find('"', i + 1)
            out.append(text[i : end + 1])
            i = end + 1
        else:
            out.append(ESCAPE.sub(r"\\\1", c))
            i += 1
    return "".join(out), in_span


def close_code(out, indent):
    """Ends a \\code block before the blank lines that close the example."""
    blanks = 0
    while out and out[-1] == f"{indent}///":
        out.pop()
        blanks += 1
    out.append(f"{indent}/// \\endcode")
    out.extend([f"{indent}///"] * blanks)


def document(body_lines, indent, first_prefix=None):
    """Turns the texts of a run of // lines (without the slashes) into ///
    lines. `first_prefix` is a line written before them (the \\file command)."""
    out = []
    if first_prefix is not None:
        out.append(f"{indent}/// {first_prefix}")
    in_code = False
    in_list = False
    in_span = False
    for text in body_lines:
        # "// text" has one space; an example or list is indented further.
        stripped = text[1:] if text.startswith(" ") else text
        indented = stripped.startswith("  ") and stripped.strip() != ""
        if indented and not in_code and not in_list:
            if stripped.lstrip().startswith("- "):
                in_list = True
            else:
                out.append(f"{indent}/// \\code")
                in_code = True
        elif not indented:
            if in_code and stripped.strip() != "":
                close_code(out, indent)
                in_code = False
            if stripped.strip() == "" and in_code:
                # A blank line inside an example ends it only when prose
                # follows; the next line decides.
                out.append(f"{indent}///")
                continue
            if not stripped.startswith(" "):
                in_list = in_list and stripped.strip() == ""
        if in_code:
            out.append(f"{indent}/// {stripped}" if stripped.strip() else f"{indent}///")
        else:
            escaped, in_span = escape_prose(stripped, in_span)
            out.append(f"{indent}/// {escaped}".rstrip())
    if in_code:
        close_code(out, indent)
    return out


def filter_header(lines):
    out = []
    i = 0
    n = len(lines)
    # The opening comment block documents the file.
    start = i
    while i < n and COMMENT.match(lines[i]):
        i += 1
    if i > start:
        body = [COMMENT.match(line).group(2) for line in lines[start:i]]
        out.extend(document(body, "", first_prefix="\\file"))
    while i < n:
        match = COMMENT.match(lines[i])
        if not match:
            out.append(lines[i])
            i += 1
            continue
        start = i
        while i < n and COMMENT.match(lines[i]):
            i += 1
        run = lines[start:i]
        following = lines[i] if i < n else ""
        if NOT_A_DECLARATION.match(following):
            out.extend(run)
        else:
            indent = COMMENT.match(run[0]).group(1)
            out.extend(document([COMMENT.match(line).group(2) for line in run], indent))
    return out


def main():
    if len(sys.argv) != 2:
        sys.stderr.write("usage: doxygen_filter.py FILE\n")
        return 2
    with open(sys.argv[1], encoding="utf-8") as source:
        lines = source.read().split("\n")
    sys.stdout.write("\n".join(filter_header(lines)))
    return 0


if __name__ == "__main__":
    sys.exit(main())
