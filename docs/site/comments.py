"""What the comments of include/zylqx.h say, as Doxygen reads them, and the Markdown of it."""
import dataclasses
import pathlib
import re
import subprocess
import sys
import tempfile
import textwrap
from xml.etree import ElementTree

ROOT = pathlib.Path(__file__).resolve().parents[2]
HEADER = (ROOT / "include/zylqx.h").read_text().split("\n")


def read_by_doxygen():
    """The XML of every file that Doxygen makes of the header, by name; its warnings end this."""
    with tempfile.TemporaryDirectory() as folder:
        settings = (ROOT / "docs/site/Doxyfile").read_text() + f"OUTPUT_DIRECTORY = {folder}\n"
        try:
            done = subprocess.run(["doxygen", "-"], cwd=ROOT, input=settings, text=True)
        except FileNotFoundError:
            sys.exit("doxygen is missing; `make test` and `make docs` install it")
        if done.returncode != 0:
            sys.exit("doxygen has something to say about include/zylqx.h")
        return {file.stem: ElementTree.parse(file).getroot()
                for file in sorted(pathlib.Path(folder, "xml").glob("*.xml"))}


XML = read_by_doxygen()


@dataclasses.dataclass
class Part:
    """A declaration of the header or the head of a section, and what its comment says."""
    name: str
    line: int  # from 1
    comment: ElementTree.Element
    function: bool = False
    section: bool = False

    def code(self):
        """Up to the next empty line: constants that belong together have one comment."""
        end = self.line
        while HEADER[end].strip():
            end += 1
        return "\n".join(HEADER[self.line - 1:end])


@dataclasses.dataclass
class Chapter:
    page: str
    title: str
    comment: ElementTree.Element
    parts: list


def of_section(section):
    """The parts of a section, and of its head if it has one."""
    parts = [Part(member.findtext("name"), int(member.find("location").get("line")),
                  member.find("detaileddescription"), function=member.get("kind") == "function")
             for member in section.iter("memberdef")]
    header = section.findtext("header")
    if header:
        line = next(i for i, text in enumerate(HEADER, 1) if text.endswith("\\name " + header))
        parts.append(Part(header, line, section.find("description"), section=True))
    return parts


def in_order(parts):
    """Parts by their lines, without those that stand in the code of another one."""
    kept, end = [], 0
    for part in sorted(parts, key=lambda part: part.line):
        if part.line >= end:
            kept.append(part)
            end = part.line + 1 + (0 if part.section else part.code().count("\n"))
    return kept


def chapters():
    """The chapters of the header in its order."""
    found = {}
    for root in XML.values():
        group = root.find("compounddef[@kind='group']")
        if group is None:
            continue
        parts = [part for section in group.iter("sectiondef") for part in of_section(section)]
        for record in group.iter("innerclass"):
            described = XML[record.get("refid")].find("compounddef")
            parts.append(Part(record.text, int(described.find("location").get("line")),
                              described.find("detaileddescription")))
        number, title = group.findtext("title").split(maxsplit=1)
        found[int(number)] = Chapter(group.findtext("compoundname"), title,
                                     group.find("detaileddescription"), in_order(parts))
    return [found[number] for number in sorted(found)]


CHAPTERS = chapters()
HEAD = XML["zylqx_8h"].find("compounddef/detaileddescription")
PAGE_OF = {part.name: chapter.page for chapter in CHAPTERS for part in chapter.parts
           if part.function}


# ---- Markdown of them ---------------------------------------------------------------------


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
        target = CHAPTERS[int(match[1]) - 1].page
        return match[0] if target == page else f"[chapter {match[1]}]({target}.md)"

    pieces = re.split(r'("[^"]*"|\bzyl\w+\([^()]+\)|`[^`]*`)', " ".join(text.split()))
    for i, piece in enumerate(pieces):
        if i % 2:
            if piece[0] != "`":
                pieces[i] = re.sub(r'"([^"]*)"', quoted, piece) if piece[0] == '"' else f"`{piece}`"
            continue
        piece = re.sub(r"\b(Zyl[A-Z]\w+|ZYL_\w+)((?:::\w+|\.\.\.)?)", r"`\1\2`", piece)
        piece = re.sub(r"\b(zyl\w+)\(\)", function, piece)
        piece = re.sub(r"\bchapter (\d+)", chapter, piece)
        pieces[i] = re.sub(r"(?<=\S)\*(?=\S)|(?<=\s)\*(?=\s)", r"\\*", piece).replace("<", "&lt;")
    return "".join(pieces)


def filled(text, first="", rest=""):
    """Lines of at most 100 characters, none of which begins a list; code stays in one."""
    text = re.sub(r"`[^`]*`", lambda code: code[0].replace(" ", "\0"), text)
    lines = textwrap.wrap(text, 100, initial_indent=first, subsequent_indent=rest,
                          break_long_words=False, break_on_hyphens=False)
    for i in range(len(lines) - 1, 0, -1):
        if re.match(r"\s*([-+*#>|]|\d+[.)])(\s|$)", lines[i]):
            lines[i - 1:i + 1] = [lines[i - 1] + " " + lines[i].strip()]
    return "\n".join(lines).replace("\0", " ")


def inline(element):
    """The text of an element and what is in it, without examples; names of code quoted."""
    text = element.text or ""
    for child in element:
        if child.tag == "computeroutput":
            text += f"`{child.text}`"
        elif child.tag != "programlisting":
            text += inline(child)
        text += child.tail or ""
    return text


def words(element):
    return " ".join(inline(element).split())


BLOCKS = {"verbatim", "itemizedlist", "parameterlist", "simplesect", "programlisting"}


@dataclasses.dataclass
class Said:
    """What a comment says: its paragraphs as Markdown, and what is marked in them."""
    paragraphs: list = dataclasses.field(default_factory=list)
    parameters: list = dataclasses.field(default_factory=list)  # (names, text)
    result: str = ""
    example: str = ""


def spaced(listing):
    """The text of code, in which spaces are elements."""
    text = listing.text or ""
    for child in listing:
        text += " " if child.tag == "sp" else spaced(child)
        text += child.tail or ""
    return text


def said(comment, page):
    """Takes a comment apart, if there is one."""
    found = Said()
    if comment is None:
        return found
    listing = comment.find(".//programlisting")
    if listing is not None:
        found.example = textwrap.dedent("\n".join(map(spaced, listing.iter("codeline")))).strip()
    for item in comment.iter("parameteritem"):
        names = [each.text for each in item.iter("parametername")]
        found.parameters.append((names, words(item.find("parameterdescription"))))
    for result in comment.iter("simplesect"):
        found.result = words(result)

    def paragraph(text):
        if text.strip():
            found.paragraphs.append(filled(linked(text, page)))

    def block(element):
        if element.tag == "verbatim":
            found.paragraphs.append(f"```text\n{element.text.strip()}\n```")
        elif element.tag == "itemizedlist":
            found.paragraphs.append("\n".join(filled(linked(inline(item), page), "- ", "  ")
                                              for item in element))

    for each in comment.findall("para"):
        running = each.text or ""
        for child in each:
            if child.tag in BLOCKS:
                paragraph(running)
                running = ""
                block(child)
            else:
                running += f"`{child.text}`" if child.tag == "computeroutput" else inline(child)
            running += child.tail or ""
        paragraph(running)
    return found
