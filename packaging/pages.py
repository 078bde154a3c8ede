#!/usr/bin/env python3
"""pages.py DESCRIPTION VERSION FOLDER: the manual pages of mvsms and the table of its completions, made
from what the command says of itself (mvsms_describe). What a person wrote for a page stands in man/,
in a file of the page's name, and comes after what is made here."""
import json
import pathlib
import re
import sys

HERE = pathlib.Path(__file__).resolve().parent
UNLIMITED = "2147483647"
NAMED_BY_FIRST_ARGUMENT = ("modem", "service", "profile", "config")  # in all of their commands but "add"


# What the values of an option may be.

def choices(option):
    match = re.search(r":\{(.*)\}", option["value"])
    return match.group(1).split(",") if match else []


def bounds(option):
    match = re.search(r":INT in \[(\d+) - (\d+)\]", option["value"])
    return match.groups() if match else None


def is_argument(option):
    return not option["names"][0].startswith("-")


def value_name(option):
    """What stands for the value beside the names; empty for a flag."""
    if choices(option):
        return "|".join(choices(option))
    name = option["value"].split(":")[0].replace(" ...", "")
    if name == "TEXT" and is_argument(option):
        return ""  # its own name says as much
    return "FILE" if option["is_path"] and name == "TEXT" else name


# Manual pages.

def escaped(text):
    text = text.replace("\\", "\\e").replace("-", "\\-").replace("'", "\\(aq").replace("`", "\\(ga")
    return re.sub(r"(?m)^\.", r"\\&.", text)


def sentence(text):
    return escaped(text.rstrip(".")) + "."


def quoted(text):
    return '"' + escaped(text).replace('"', '""') + '"'


def shown(option):
    """The option with its value, as in a synopsis."""
    value = "" if is_argument(option) else value_name(option)
    return f"{option['names'][-1]} {value}".strip() + (" ..." if option["several"] else "")


def synopsis(path, command):
    if command["commands"]:
        return [line for one in command["commands"] for line in synopsis(f"{path} {one['name']}", one)]
    options = sorted(command["options"], key=is_argument)
    needed = [shown(o) if o["required"] else f"[{shown(o)}]" for o in options
              if o["required"] or is_argument(o)]
    return [" ".join([path, "[OPTIONS]", *needed])]


def option_lines(option):
    head = f"{', '.join(option['names'])} {value_name(option)}".strip()
    notes = []
    limits = bounds(option)
    if limits:
        notes.append(f"at least {limits[0]}" if limits[1] == UNLIMITED else f"{limits[0]} to {limits[1]}")
    if option["required"] and not is_argument(option):
        notes.append("required")
    text = option["text"] + (f" ({', '.join(notes)})" if notes else "")
    return [".TP", f".B {quoted(head)}", escaped(text)]


def split_footer(footer):
    """The examples, and what is said after them."""
    lines = footer.splitlines()
    examples = [line.strip() for line in lines if line.startswith("  ")]
    return examples, [line for line in lines if line and not line.startswith("  ") and line != "Examples:"]


def paragraphs(lines):
    """A line that ends a sentence ends a paragraph."""
    return re.split(r"(?<=\.)\n", "\n".join(lines))


def body(command):
    lines = []
    for option in sorted(command["options"], key=is_argument, reverse=True):
        lines += option_lines(option)
    examples, notes = split_footer(command["footer"])
    if examples:
        lines += [".PP", "Examples:", ".PP", ".RS 4", ".nf", *map(escaped, examples), ".fi", ".RE"]
    if notes:
        lines += [line for note in paragraphs(notes) for line in (".PP", escaped(note))]
    return lines


def with_commas(names):
    names = list(names)
    return zip(names, [","] * (len(names) - 1) + [""])


def page(name, path, command, version, others):
    purpose = brief(command["text"]).split(":")[0]
    lines = [f'.TH {name.upper()} 1 "" "mvSMS {version}" "User Commands"', ".SH NAME",
             f"{escaped(name)} \\- {escaped(purpose[0].lower() + purpose[1:])}", ".SH SYNOPSIS", ".nf"]
    shown_synopsis = [f"{path} [--profile NAME] COMMAND ..."] if path == "mvsms" else synopsis(path, command)
    lines += [f".B {quoted(line)}" for line in shown_synopsis] + [".fi", ".SH DESCRIPTION"]
    lines += [sentence(command["text"])]
    if path == "mvsms":
        lines += [".SH COMMANDS"]
        for one in command["commands"]:
            lines += [".TP", f".BR mvsms\\-{one['name']} (1)", escaped(one["text"])]
        lines += [".SH OPTIONS", *body(dict(command, footer=""))]
    elif command["commands"]:
        lines += [".SH COMMANDS"]
        for one in command["commands"]:
            lines += [f".SS {quoted(synopsis(path + ' ' + one['name'], one)[0])}", sentence(one["text"])]
            lines += body(one)
    else:
        lines += [".SH OPTIONS", *body(command)]
    own = HERE / "man" / f"{name}.man"
    if own.exists():
        lines.append(own.read_text(encoding="utf-8").strip())
    lines += [".SH SEE ALSO", *(f".BR {escaped(other)} (1){comma}" for other, comma in with_commas(others))]
    return "\n".join(lines) + "\n"


def write_pages(root, version, folder):
    names = {f"mvsms-{one['name']}": one for one in root["commands"]}
    write(folder / "mvsms.1", page("mvsms", "mvsms", root, version, names))
    for name, command in names.items():
        write(folder / f"{name}.1", page(name, f"mvsms {command['name']}", command, version, ["mvsms"]))


# The table of the completions: one line a word, "WORD<tab>KIND<tab>TEXT"; the lines of arguments have no
# word. The kind says what a value may be, "-" that there is none.

def kind(path, option):
    words = path.split()
    name = option["names"][-1]
    if not option["value"]:
        return "-"
    if choices(option):
        return ",".join(choices(option))
    if name in ("--profile", "--service"):
        return name.strip("-")
    if name == "SERVICE":
        return "service"
    if name == "NAME" and words[1] in NAMED_BY_FIRST_ARGUMENT and words[-1] != "add":
        return words[1]
    return "file" if option["is_path"] else "text"


def table(path, command):
    lines = [f"'{path}') cat <<'END'"]
    lines += [f"{one['name']}\t-\t{brief(one['text'])}" for one in command["commands"]]
    for option in command["options"]:
        names = [""] if is_argument(option) else option["names"]
        lines += [f"{name}\t{kind(path, option)}\t{brief(option['text'])}" for name in names]
    lines += ["END", ";;"]
    for one in command["commands"]:
        lines += table(f"{path} {one['name']}", one)
    return lines


def brief(text):
    return text.splitlines()[0]


def write_completions(root, folder):
    frame = (HERE / "completions/completion.sh.in").read_text(encoding="utf-8")
    write(folder / "completion.sh", frame.replace("@TABLE@\n", "\n".join(table("mvsms", root)) + "\n"))


def write(file, text):
    file.parent.mkdir(parents=True, exist_ok=True)
    file.write_text(text, encoding="utf-8")


def main():
    description, version, folder = sys.argv[1:]
    root = json.loads(pathlib.Path(description).read_text(encoding="utf-8"))
    write_pages(root, version, pathlib.Path(folder) / "man")
    write_completions(root, pathlib.Path(folder))


if __name__ == "__main__":
    main()
