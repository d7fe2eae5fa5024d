#!/usr/bin/env python3
"""Writes norvanectl's man page and bash completion from the tool's own help texts.

    norvanectl-docs.py NORVANECTL VERSION MAN_PAGE COMPLETION

The command list is the overview's (`norvanectl --help`), each command's section is
its `norvanectl help COMMAND`, so neither file can drift from the tool.
"""
import re
import subprocess
import sys


def help_text(tool, *args):
    done = subprocess.run([tool, *args], capture_output=True, text=True, check=True)
    return done.stdout


def parse_overview(text):
    """(intro lines, global option rows, [(command, summary)], closing lines)."""
    lines = text.splitlines()
    intro, options, commands, closing = [], [], [], []
    section = "intro"
    for line in lines:
        if line == "Global options:":
            section = "options"
        elif line == "Commands:":
            section = "commands"
        elif section == "intro" and not line.startswith("usage:") and not line.startswith("       "):
            intro.append(line)
        elif section == "options" and line.strip():
            options.append(re.split(r"\s{2,}", line.strip(), maxsplit=1))
        elif section == "commands" and line.startswith("  "):
            name, summary = re.split(r"\s{2,}", line.strip(), maxsplit=1)
            commands.append((name, summary))
        elif section == "commands" and line.strip():
            closing.append(line)
    return intro, options, commands, closing


def roff(text):
    # A line that starts with a dot or an apostrophe would be read as a request.
    text = text.replace("\\", "\\e").replace("-", "\\-")
    return "\n".join(("\\&" + line if line[:1] in (".", "'") else line) for line in text.split("\n"))


def man_page(tool, version, intro, options, commands, closing):
    out = [f'.TH NORVANECTL 1 "" "libnorvane {version}" "User Commands"',
           ".SH NAME", "norvanectl \\- looks after one libnorvane installation",
           ".SH SYNOPSIS", ".B norvanectl", "[\\-\\-store\\-root \\fIDIR\\fR] \\fICOMMAND\\fR [\\fIARGS\\fR...]",
           ".br", ".B norvanectl help", "[\\fICOMMAND\\fR]",
           ".SH DESCRIPTION", roff(" ".join(line for line in intro if line.strip()))]
    out.append(".SH OPTIONS")
    for option, meaning in options:
        out += [".TP", ".B " + roff(option), roff(meaning)]
    out.append(".SH COMMANDS")
    for name, _ in commands:
        out += [".SS " + roff(name), ".nf", roff(help_text(tool, "help", name).rstrip("\n")), ".fi"]
    out += [".SH EXIT STATUS", roff(" ".join(line for line in closing if "Exit status" in line))]
    return "\n".join(out) + "\n"


def first_words(tool, name):
    """The literal words a command takes first: "put get" for "secret put|get FILE",
    "install uninstall" for "service install PROGRAM | uninstall"."""
    usage = help_text(tool, "help", name).splitlines()[0].split(" " + name, 1)[1]
    words = []
    for alternative in usage.split(" | "):
        tokens = alternative.split()
        if tokens and tokens[0] == name:
            tokens = tokens[1:]
        if tokens and re.fullmatch(r"[a-z][a-z0-9-]*(\|[a-z][a-z0-9-]*)*", tokens[0]):
            words += [word for word in tokens[0].split("|") if word not in words]
    return words


def completion(tool, options, commands):
    option_words = []
    for option, _ in options:
        option_words += [word.rstrip(",") for word in option.split() if word.startswith("-")]
    cases = []
    for name, _ in commands:
        words = " ".join(first_words(tool, name) + ["--help"])
        cases.append(f"    {name}) words='{words}' ;;")
    names = " ".join(name for name, _ in commands)
    return f"""# bash completion for norvanectl, generated from its help texts
_norvanectl() {{
  local cur=${{COMP_WORDS[COMP_CWORD]}} prev=${{COMP_WORDS[COMP_CWORD-1]}} i command=
  case $prev in
    --store-root|--unit-dir) COMPREPLY=($(compgen -d -- "$cur")); return ;;
  esac
  for ((i = 1; i < COMP_CWORD; i++)); do
    case ${{COMP_WORDS[i]}} in
      --store-root|--unit-dir) ((i++)) ;;
      -*) ;;
      *) command=${{COMP_WORDS[i]}}; break ;;
    esac
  done
  if [[ -z $command ]]; then
    COMPREPLY=($(compgen -W '{" ".join(option_words)} help {names}' -- "$cur"))
    return
  fi
  # The command's own first word; past it, file names.
  ((COMP_CWORD == i + 1)) || return
  local words=
  case $command in
    help) words='{names}' ;;
{chr(10).join(cases)}
  esac
  COMPREPLY=($(compgen -W "$words" -- "$cur"))
}}
complete -o default -F _norvanectl norvanectl
"""


def main():
    if len(sys.argv) != 5:
        sys.exit("usage: norvanectl-docs.py NORVANECTL VERSION MAN_PAGE COMPLETION")
    tool, version, man_path, completion_path = sys.argv[1:]
    intro, options, commands, closing = parse_overview(help_text(tool, "--help"))
    if not commands:
        sys.exit(f"norvanectl-docs.py: no commands in the help of {tool}")
    with open(man_path, "w") as man:
        man.write(man_page(tool, version, intro, options, commands, closing))
    with open(completion_path, "w") as script:
        script.write(completion(tool, options, commands))


if __name__ == "__main__":
    main()
