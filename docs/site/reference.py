#!/usr/bin/env python3
"""Writes docs/reference: a page for each chapter of include/zylqx.h, with an entry for each of
its functions, and a list of all. What an entry says comes from the comments of the header, from
operations/operations.json, from pictures.json (the command) and docs/reference/costs.json.

    reference.py [--check]

With --check nothing is written: the exit code is 1 when a page is out of date, or when an
exported function has no entry.
"""
import json
import pathlib
import re
import sys
import textwrap

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "operations"))
sys.path.insert(0, str(ROOT / "tests/operations"))
from hpp import KEYWORDS, Operation, camel, declaration, wrapped  # noqa: E402
from table import RANGES, TABLE, prototypes  # noqa: E402

PAGES = ROOT / "docs/reference"
HEADER = (ROOT / "include/zylqx.h").read_text()
PICTURES = json.loads((ROOT / "docs/site/pictures.json").read_text())
COSTS_FILE = PAGES / "costs.json"
COSTS = json.loads(COSTS_FILE.read_text()) if COSTS_FILE.exists() else {"operations": {}}
OPERATIONS = {each["function"]: each for each in TABLE["operations"]}
LAYOUTS = {"gray": "gray", "gray-alpha": "gray with alpha", "color": "colour",
           "color-alpha": "colour with alpha"}
PYTHON_OWN = {"translate-dib", "convert-from-dib", "convert-to-dib"}
# Comments at the left edge, each with the code up to the next one.
PART = re.compile(r"^/\*\*(.*?)\*/\n(.*?)(?=^/\*\*|^/\* =|\Z)", re.S | re.M)


def chapters():
    """Of each chapter its name, its title and its parts: (comment, code)."""
    found = []
    for comment, code in PART.findall(HEADER):
        text = re.sub(r"^ \* ?", "", comment, flags=re.M).strip()
        group = re.match(r"\\defgroup (\w+) \d+  (.*)", text)
        if group:
            found.append((group[1], group[2], []))
            text = text[group.end():].strip()
        if found:
            found[-1][2].append((text.replace("\\{", "").replace("\\}", "").strip(), code.strip()))
    return found


PAGE_OF = {name: page for page, _, parts in chapters() for _, code in parts
           for name in re.findall(r"^ZYL_API [^;(]*?(zyl\w+)\(", code, flags=re.M)}


CHAPTERS = [page for page, _, _ in chapters()]


def linked(text, page):
    """Inline text: names of functions are links, of constants and quoted reports code."""
    def quoted(match):
        inside = " ".join(match[1].split())
        return f"`\"{inside}\"`" if re.search(r"[=<>!|&()]", inside) else match[0]

    def function(match):
        name = match[1]
        target = PAGE_OF.get(name)
        place = "" if target == page else f"{target}.md"
        return f"[`{name}()`]({place}#{name.lower()})" if target else match[0]

    def chapter(match):
        target = CHAPTERS[int(match[1]) - 1]
        return match[0] if target == page else f"[chapter {match[1]}]({target}.md)"

    pieces = re.split(r'("[^"]*"|\bzyl\w+\([^()]+\))', text)
    for i, piece in enumerate(pieces):
        if i % 2:
            pieces[i] = re.sub(r'"([^"]*)"', quoted, piece) if piece[0] == '"' else \
                f"`{' '.join(piece.split())}`"
            continue
        piece = re.sub(r"(?<![\w`])(ZYL_\w+(?:\.\.\.)?|Zyl[A-Z]\w+(?:::\w+)?)", r"`\1`", piece)
        piece = re.sub(r"\b(zyl\w+)\(\)", function, piece)
        piece = re.sub(r"\bchapter (\d+)", chapter, piece)
        pieces[i] = re.sub(r"(?<=\S)\*(?=\S)|(?<=\s)\*(?=\s)", r"\\*", piece).replace("<", "&lt;")
    return "".join(pieces)


def markdown(text, page):
    """Paragraphs, lists and indented formulas of a comment."""
    blocks = []
    for block in re.split(r"\n[ \t]*\n", textwrap.dedent(text).strip("\n")):
        lines = block.split("\n")
        plain = []
        while lines:
            in_list = any(line.startswith("- ") for line in plain)
            if lines[0].startswith("   ") and not in_list:
                formula = []
                while lines and lines[0].startswith("   "):
                    formula.append(lines.pop(0))
                if plain:
                    blocks.append(linked("\n".join(plain), page))
                plain = []
                blocks.append("```text\n" + textwrap.dedent("\n".join(formula)) + "\n```")
                continue
            # What stands far to the right belongs to the code below.
            plain.append(re.sub(r"^ - |(?<=\S) {8,}.*", lambda m: "- " if m[0] == " - " else "",
                                lines.pop(0)).rstrip())
        # A line at the left edge begins a paragraph after a list, a point one after a paragraph.
        for i, line in reversed(list(enumerate(plain[1:], 1))):
            of_list = [each.startswith(("- ", "  ")) for each in plain[i - 1:i + 1]]
            if of_list[0] != of_list[1]:
                plain.insert(i, "")
        if plain:
            blocks.append(linked("\n".join(plain), page))
    return "\n\n".join(blocks)


def taken_apart(comment):
    """Text, parameters, result and example of a function's comment."""
    example = re.search(r"\\code(.*?)\\endcode", comment, flags=re.S)
    comment = re.sub(r"\\code.*?\\endcode", "", comment, flags=re.S)
    result = re.search(r"^\\return (.*?)(?=^\\|^\s*$|\Z)", comment, flags=re.S | re.M)
    comment = re.sub(r"^\\return .*?(?=^\\|^\s*$|\Z)", "", comment, flags=re.S | re.M)
    parameters = [(names.split(","), " ".join(text.split())) for names, text in re.findall(
        r"^\\param (\S+)\s+(.*?)(?=^\\param|^\s*$|\Z)", comment, flags=re.S | re.M)]
    comment = re.sub(r"^\\param .*?(?=^\\param|^\s*$|\Z)", "", comment, flags=re.S | re.M)
    return (comment.strip(), parameters, " ".join(result[1].split()) if result else "",
            textwrap.dedent(example[1]).strip() if example else "")


def limit(text, operation):
    """A limit as the reader knows it."""
    names = {each["name"]: each["name"] for each in operation["parameters"]}
    base = re.match(r"\w+", str(text))[0] if isinstance(text, str) else ""
    if base == "depth":
        return {"depth.min": "the depth's least", "depth.max": "the depth's largest"}[text]
    return f"`{text}`" if base in names else str(text)


def allowed(entry, operation):
    if "choices" in entry:
        return "; ".join(f"`{each['constant'] or each['value']}` {each['help']}"
                         for each in TABLE["choices"][entry["choices"]])
    if entry["kind"] not in RANGES:
        return {"bool": "0 or 1", "float": "any number"}.get(entry["kind"], "")
    least, most = RANGES[entry["kind"]]
    least, most = entry.get("min", least), entry.get("max", most)
    ends = RANGES[entry["kind"]]
    if (least, most) == ends:
        text = "any"
    elif most == ends[1]:
        text = f"at least {limit(least, operation)}"
    else:
        text = f"{limit(least, operation)} to {limit(most, operation)}"
    return text + (f", {entry['unit']}" if "unit" in entry else "")


def default(entry, operation):
    if entry.get("nullable"):
        return "null"
    value = entry.get("default")
    if value is None:
        return ""
    if isinstance(value, list):
        value = value[0]
    if "choices" in entry:
        chosen = next(e for e in TABLE["choices"][entry["choices"]] if e["word"] == value)
        return f"`{chosen['constant'] or chosen['value']}`"
    return limit(value, operation)


def parameter_table(parameters, operation, page):
    described = {name: text for names, text in parameters for name in names}
    if operation is None:
        rows = ["| `{}` | {} |".format(", ".join(names), linked(text, page).replace("|", "\\|"))
                for names, text in parameters]
        return "| parameter | meaning |\n|---|---|\n" + "\n".join(rows) if rows else ""
    rows = []
    for entry in operation["parameters"]:
        text = described.get(entry["name"], "")
        if not text or re.match(r"(see above|as (above|in|for) |the same)", text):
            text = entry["help"]
        cells = (f"`{entry['name']}`", linked(text, page), allowed(entry, operation),
                 default(entry, operation))
        rows.append("| " + " | ".join(each.replace("|", "\\|") for each in cells) + " |")
    return ("| parameter | meaning | values | usually |\n|---|---|---|---|\n" + "\n".join(rows))


def pairs(accepted, name):
    if accepted == "any":
        return "any"
    if isinstance(accepted, list):
        return ", ".join(map(name, accepted))
    return "; ".join(f"{name(source)} to {', '.join(map(name, results))}"
                     for source, results in accepted.items())


def facts(operation):
    yes = lambda flag: "yes" if flag else "no"
    rows = [("depths", pairs(operation["depths"], str)),
            ("channels", pairs(operation["layouts"], LAYOUTS.get)),
            ("reads", {"pixel": "the pixel itself", "around": "pixels around it",
                       "elsewhere": "pixels at other places", "all": "all pixels"}[operation["reads"]]),
            ("regions, channel of interest", f"{yes(operation['regions'])}, {yes(operation['channel'])}"),
            ("tiles", yes(operation["tiles"])), ("in place", yes(operation["inPlace"])),
            ("borders count", yes(operation["borders"])),
            ("alpha", {"channel": "a channel like any other", "kept": "left as it is",
                       "used": "used as alpha"}[operation["alpha"]])]
    cost = COSTS["operations"].get(operation["name"])
    if cost:
        rows.append(("cost", cost))
    return "| | |\n|---|---|\n" + "\n".join(f"| {a} | {b} |" for a, b in rows)


def command(operation):
    picture = PICTURES[operation["name"]]
    if "steps" not in picture:
        return ""
    steps = " ".join(filter(None, (picture.get("before"), picture["steps"])))
    target = "" if picture.get("prints") else " out." + picture.get("format", "png")
    options = " " + picture["options"] if "options" in picture else ""
    return " ".join(f"zyl photo.png {steps}{target}{options}".split())


def elsewhere(operation):
    made = Operation(operation)
    snake = operation["name"].replace("-", "_")
    if snake in KEYWORDS | {"open"}:
        snake += "_"
    python = "from_bitmap, to_bitmap" if operation["name"] in PYTHON_OWN else f"zx.{snake}"
    cpp = made.name + "(" + declaration(made.parameters) + ")"
    if made.name == "translateDib":
        cpp = "translateDib(const void *dib, bool *shared = nullptr)"
    lines = ["```cpp", wrapped(f"zyl::{cpp}", ""), "```", "",
             f"Python: [`{python}`](../guide/python.md). JavaScript: "
             f"[`{camel(operation['name']).rstrip('_')}`](../guide/javascript.md)."]
    return "\n".join(lines)


def signature(code):
    code = " ".join(re.sub(r"ZYL_(API|CALL) ", "", code.split("/*")[0]).split())
    return "```c\n" + wrapped(code, "") + "\n```"


def function_entry(name, comment, code, page):
    text, parameters, result, example = taken_apart(comment)
    operation = OPERATIONS.get(name)
    summary, _, reports = text.partition("Reports")
    parts = [f"### {name}"]
    if operation:
        parts.append(f"<!-- picture {operation['name']} -->")
    parts.append(markdown(summary, page))
    parts.append(signature(code))
    parts.append(parameter_table(parameters, operation, page))
    if result:
        parts.append("**Result:** " + linked(result, page))
    if reports:
        parts.append("**Reports" + re.sub(r"^(.*?)([ :])", r"\1**\2",
                                          linked(reports, page), count=1, flags=re.S))
    if operation:
        parts.append(facts(operation))
        if "note" in operation:
            parts.append(f"Note: {linked(operation['note'], page)}.")
    if example:
        parts.append(f"```c\n{example}\n```")
    if operation:
        if command(operation):
            parts.append(f"```sh\n{command(operation)}\n```")
        parts.append(elsewhere(operation))
    return "\n\n".join(filter(None, parts))


def chapter_page(page, title, parts):
    text = [f"<!-- Made by docs/site/reference.py. -->\n# {title}"]
    for comment, code in parts:
        named = re.match(r"\\name (.*)", comment)
        if named:
            text.append(f"## {named[1]}")
            comment = comment[named.end():].strip()
        name = re.match(r"ZYL_API [^;(]*?(zyl\w+)\(", code)
        if name:
            text.append(function_entry(name[1], comment, code, page))
            continue
        if "\\param" in comment:
            comment, parameters, _, _ = taken_apart(comment)
            text += [markdown(comment, page), signature(code),
                     parameter_table(parameters, None, page)]
            continue
        if comment:
            text.append(markdown(comment, page))
        code = re.sub(r"^#(if|endif|ifdef).*\n?|^}$", lambda m: m[0] if m[0] == "}" else "", code, flags=re.M)
        if code and not code.startswith("/* ==") and page:
            text.append("```c\n" + code.strip().replace("/**<", "/*") + "\n```")
    return "\n\n".join(filter(None, text)) + "\n"


def first_sentence(comment):
    text = " ".join(taken_apart(comment)[0].split())
    return re.split(r"(?<=[.:])\s", text)[0].rstrip(":.") + "."


def index():
    lines = ["<!-- Made by docs/site/reference.py. -->", "# Reference", "",
             f"All {len(PAGE_OF)} functions. What holds for every operation stands in",
             "[rules of all operations](rules.md); the pictures are in the [gallery](gallery.md)", ""]
    lines[-2] += "."
    for page, title, parts in chapters():
        lines += [f"## [{title}]({page}.md)", "", "| function | |", "|---|---|"]
        for comment, code in parts:
            name = re.match(r"ZYL_API [^;(]*?(zyl\w+)\(", code)
            if name:
                summary = OPERATIONS[name[1]]["help"] if name[1] in OPERATIONS else \
                    first_sentence(comment)
                if not summary.startswith("zyl"):
                    summary = summary[0].upper() + summary[1:]
                summary = linked(summary.rstrip("."), page)
                summary = re.sub(r"\]\(#", f"]({page}.md#", summary).replace("|", "\\|")
                lines.append(f"| [`{name[1]}`]({page}.md#{name[1].lower()}) | {summary} |")
        lines.append("")
    if "conditions" in COSTS:
        lines += ["## Costs", "", COSTS["conditions"], ""]
    return "\n".join(lines)


def rules():
    text = re.sub(r"^ \* ?", "", re.match(r"/\*\*(.*?)\*/", HEADER, flags=re.S)[1], flags=re.M)
    text = text[text.index("What follows holds"):]
    text = re.sub(r"^(\w[\w ]+)\n-+\n", r"## \1\n\n", text, flags=re.M)
    parts = re.split(r"^(## .*)$", text, flags=re.M)
    out = ["<!-- Made by docs/site/reference.py. -->", "# Rules of all operations", ""]
    for part in parts:
        out += [part if part.startswith("## ") else markdown(part, "rules"), ""]
    return "\n".join(out).replace("chapters 3 to 11", "chapters 3 to 11 of the header")


def gallery():
    lines = ["<!-- Made by docs/site/reference.py. -->", "# Gallery", "",
             "What each operation does to one picture. On the site, pictures are made by the build;",
             "`make docs` puts it into `build/docs`.", ""]
    for family in TABLE["families"]:
        lines += [f"## {family['title']}", "", f"<!-- gallery {family['name']} -->", ""]
        lines += [", ".join(f"[{each['name']}]({each['family']}.md#{each['function'].lower()})"
                            for each in TABLE["operations"] if each["family"] == family["name"]), ""]
    return "\n".join(lines)


def pages():
    made = {page: chapter_page(page, title, parts) for page, title, parts in chapters()}
    return {**made, "README": index(), "rules": rules(), "gallery": gallery()}


def main():
    check = sys.argv[1:] == ["--check"]
    wrong = []
    made = pages()
    for name in prototypes():
        if not re.search(rf"^### {name}$", made[PAGE_OF.get(name, "README")], flags=re.M):
            wrong.append(f"{name} has no entry in docs/reference")
    for each in OPERATIONS.values():
        if each["name"] not in PICTURES:
            wrong.append(f"{each['name']} has no picture in docs/site/pictures.json")
    for name, text in made.items():
        file = PAGES / f"{name}.md"
        text = re.sub(r"\n{3,}", "\n\n", text).rstrip() + "\n"
        if not check:
            PAGES.mkdir(exist_ok=True)
            file.write_text(text)
        elif not file.exists() or file.read_text() != text:
            wrong.append(f"docs/reference/{name}.md is out of date: run docs/site/reference.py")
    print(*wrong, sep="\n", end="\n" if wrong else "")
    sys.exit(1 if wrong else 0)


if __name__ == "__main__":
    main()
