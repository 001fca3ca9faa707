#!/usr/bin/env python3
"""Writes a manual page and a bash completion from a program's own --help texts.

The option and command texts live once, in the programs; the hand-written rest of each page
(description, files, environment, examples) and the completion logic are templates whose
@PLACEHOLDER@ lines are filled here. Usage:

  man_page.py window  PROGRAM MAN_TEMPLATE MAN_OUT COMPLETION_TEMPLATE COMPLETION_OUT VERSION
  man_page.py cli     PROGRAM MAN_TEMPLATE MAN_OUT COMPLETION_TEMPLATE COMPLETION_OUT VERSION
"""

import collections
import datetime
import os
import re
import subprocess
import sys

OPTION = re.compile(r"(?<![\w-])(--?[a-zA-Z][a-zA-Z0-9-]*)")


def run_help(program, *args):
    env = dict(os.environ, QT_QPA_PLATFORM="offscreen", ASAN_OPTIONS="detect_leaks=0")
    result = subprocess.run([program, *args, "--help"], env=env, capture_output=True, text=True,
                            check=False, timeout=60)
    if result.returncode != 0 or not result.stdout:
        sys.exit(f"man_page.py: '{program} {' '.join(args)} --help' failed: {result.stderr}")
    return result.stdout


def escape(text):
    text = no_hyphens(text.replace("\\", "\\e").replace("-", "\\-"))
    # A line must not start with a control character.
    return "\\&" + text if text.startswith((".", "'")) else text


def no_hyphens(roff):
    """Words with an option ("[--gnss", "--record") are never hyphenated: "\\%" starts them."""
    return " ".join("\\%" + word if OPTION.search(re.sub(r"\\f[BIRP]", "", word).replace("\\-", "-")) and
                    not word.startswith("\\%") else word for word in roff.split(" "))


def term_roff(term):
    """Options bold, placeholders (FILE, <DIR>) italic, the rest as it is."""
    out = []
    for token in re.split(r"(\s+|[\[\]|,=])", term):
        if not token:
            continue
        bare = token.strip("<>")
        if OPTION.fullmatch(token):
            out.append("\\fB" + escape(token) + "\\fR")
        elif re.fullmatch(r"[A-Z][A-Z0-9_.]*\.{0,3}", bare):
            out.append("\\fI" + escape(bare) + "\\fR")
        else:
            out.append(escape(token))
    return no_hyphens("".join(out).replace("\\%", ""))


def blocks(text):
    """Splits a help text into blank-line separated blocks of lines."""
    current = []
    for line in text.rstrip("\n").split("\n"):
        if line.strip():
            current.append(line.rstrip())
        elif current:
            yield current
            current = []
    if current:
        yield current


def indent(line):
    return len(line) - len(line.lstrip(" "))


def list_items(block):
    """A two-column list ("  TERM   description" and deeper continuation lines) as
    (term, description) pairs; None when the block is not one."""
    if any(indent(line) < 2 for line in block):
        return None
    item_indent = min(indent(line) for line in block)
    # The description column: where continuation lines start and where a gap of two or more
    # blanks after a term ends, whichever is most common.
    columns = collections.Counter()
    for line in block:
        if indent(line) > item_indent:
            columns[indent(line)] += 1
        else:
            gap = re.search(r"\S {2,}(?=\S)", line)
            if gap:
                columns[gap.end()] += 1
    column = columns.most_common(1)[0][0] if columns else None
    items = []
    for line in block:
        if indent(line) > item_indent and items:
            items[-1][1].append(line.strip())
        elif column is None or len(line) <= column or line[column - 1] != " ":
            items.append((line.strip(), []))
        else:
            items.append((line[:column].strip(), [line[column:].strip()]))
    return [(term, " ".join(description)) for term, description in items]


def body_roff(text):
    """The roff of a help text without its usage lines: paragraphs and two-column lists."""
    out = []
    for whole in blocks(text):
        if whole[0].lower().startswith("usage:"):
            continue
        for block in segments(whole):
            out += segment_roff(block)
    return out


def segments(block):
    """A block cut where it goes from a paragraph to an indented list and back."""
    runs = []
    for line in block:
        listed = indent(line) >= 2
        if runs and runs[-1][0] == listed:
            runs[-1][1].append(line)
        else:
            runs.append((listed, [line]))
    return [lines for _, lines in runs]


def segment_roff(block):
    items = list_items(block)
    if items is None:
        return [".PP", escape(" ".join(line.strip() for line in block))]
    out = []
    for term, description in items:
        out += [".TP", term_roff(term)]
        if description:
            out.append(escape(description))
    return out


def usage_lines(text):
    """The usage lines of a help text, continuation lines joined, without "usage: "."""
    lines = []
    for block in blocks(text):
        if not block[0].lower().startswith("usage:"):
            continue
        for line in block:
            line = re.sub(r"(?i)^usage:", "", line).strip()
            if line.startswith("veloran") or not lines:
                lines.append(line)
            else:
                lines[-1] += " " + line
        break
    return lines


def synopsis_roff(lines):
    out = []
    for line in lines:
        program, _, rest = line.partition(" ")
        # Usage lines are never hyphenated.
        words = [w if w.startswith("\\%") else "\\%" + w for w in term_roff(rest).split(" ")]
        out += [".PP", "\\fB" + escape(program) + "\\fR " + " ".join(words)]
    return out


def options_of(text):
    """The options a help text names in its usage lines and list terms, never in its prose."""
    named = set()
    for line in usage_lines(text):
        named.update(OPTION.findall(line))
    for whole in blocks(text):
        for block in segments(whole):
            for term, _ in list_items(block) or []:
                named.update(OPTION.findall(term))
    return sorted(named)


def fill(template, replacements, folder):
    out = []
    for line in template.split("\n"):
        key = line.strip()
        included = re.fullmatch(r"@INCLUDE (\S+)@", key)
        if included:
            with open(os.path.join(folder, included.group(1)), encoding="utf-8") as f:
                out.append(f.read().rstrip("\n"))
        elif key in replacements:
            value = replacements[key]
            out.append("\n".join(value) if isinstance(value, list) else value)
        else:
            for name, value in replacements.items():
                if isinstance(value, str):
                    line = line.replace(name, value)
            out.append(line)
    return "\n".join(out)


def window(program, version):
    text = run_help(program)
    options_block = text.split("Options:", 1)[1]
    man = {"@VERSION@": version, "@OPTIONS@": body_roff(options_block)}
    completion = {"@VERSION@": version, "@OPTIONS@": " ".join(options_of(text))}
    return man, completion


def cli(program, version):
    overview = run_help(program)
    commands_block = overview.split("Commands:", 1)[1].split("\n\n", 1)[0]
    commands = [term.split()[0] for term, _ in list_items(commands_block.strip("\n").split("\n"))]
    sections, synopsis, cases, subcommand_cases = [], [], [], []
    for command in commands:
        text = run_help(program, command)
        usages = usage_lines(text)
        synopsis += synopsis_roff(usages)
        sections += [".SS " + escape(command)] + synopsis_roff(usages) + body_roff(text)
        cases.append(f"        {command}) echo '{' '.join(options_of(text) + ['--help'])}' ;;")
        subcommands = sorted({u.split()[2] for u in usages
                              if len(u.split()) > 2 and re.fullmatch(r"[a-z]+", u.split()[2])})
        if subcommands:
            subcommand_cases.append(f"        {command}) echo '{' '.join(subcommands)}' ;;")
    man = {
        "@VERSION@": version,
        "@SYNOPSIS@": synopsis,
        "@COMMANDS@": body_roff(commands_block),
        "@COMMAND_SECTIONS@": sections,
    }
    completion = {
        "@VERSION@": version,
        "@COMMANDS@": " ".join(commands),
        "@COMMAND_OPTIONS@": cases,
        "@SUBCOMMANDS@": subcommand_cases,
    }
    return man, completion


def page_date():
    """The page's date: that of the release being packaged when the package build says so
    (SOURCE_DATE_EPOCH, which keeps the build reproducible), else today's."""
    epoch = os.environ.get("SOURCE_DATE_EPOCH")
    when = datetime.datetime.fromtimestamp(int(epoch), datetime.timezone.utc) if epoch \
        else datetime.datetime.now(datetime.timezone.utc)
    return when.strftime("%Y-%m-%d")


def main():
    if len(sys.argv) != 8 or sys.argv[1] not in ("window", "cli"):
        sys.exit(__doc__)
    kind, program, man_in, man_out, completion_in, completion_out, version = sys.argv[1:]
    man, completion = (window if kind == "window" else cli)(program, version)
    man["@DATE@"] = page_date()
    for template, output, replacements in ((man_in, man_out, man),
                                           (completion_in, completion_out, completion)):
        with open(template, encoding="utf-8") as f:
            text = fill(f.read(), replacements, os.path.dirname(template))
        os.makedirs(os.path.dirname(os.path.abspath(output)), exist_ok=True)
        with open(output + ".tmp", "w", encoding="utf-8") as f:
            f.write(text)
        os.replace(output + ".tmp", output)


if __name__ == "__main__":
    main()
