"""Makes the inputs that fuzzing begins with.

    seeds.py ZYL FOLDER

FOLDER gets a folder for each program: small files of every kind that the tests of formats
put together or have others write; chains of words from the examples of the tool's help;
command lines; random bytes for the programs that make their arguments of them. words.dict
has the words of the tool.
"""

import os
import random
import re
import subprocess
import sys
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "../tests/tool"))
sys.dont_write_bytecode = True
import formats_test  # noqa: E402

LARGEST = 4096  # bytes of a file
STARTS = {"png": (b"\x89PNG",), "jpeg": (b"\xff\xd8",), "tiff": (b"II", b"MM"), "bmp": (b"BM",),
          "pnm": tuple(b"P%d" % i for i in range(1, 8)), "webp": (b"RIFF",)}
# A picture in front of a chain: memory, jobs, no tiles; depth, channels, width, height, two
# bytes of noise; the second picture has the same shape.
PICTURES = (bytes((20, 0, 0, 0, 2, 40, 20, 7, 13, 1)), bytes((20, 1, 0, 0, 0, 40, 20, 7, 13, 1)),
            bytes((3, 0, 1, 1, 1, 2, 1, 60, 30, 7, 13, 1)), bytes((20, 0, 0, 1, 40, 20, 7, 13, 1)))
COMMANDS = ("list", "help crop", "help", "info a.png", "info c.tif --json", "chart o.png", "--version",
            "--manual", "--completion bash", "--completion zsh", "sheet o.png a.png b.jpg",
            "batch a.png b.jpg gray --to {stem}.bmp", "batch *.png flip --to {n}{dir}{name}.pgm --force",
            "a.png o.tif --tile 16x32 --compression lzw", "a.png gray o.jpg --quality 20 --strip",
            "d.bmp o.bmp --colors 16 --palette median-cut", "e.pgm --view spectrum -:png",
            "c.tif invert o.tif --tiles 8 --jobs 2 --memory 1M", "a.png blur:size=3 o.webp --progress --verbose",
            "b.jpg o.png --page 1 --no-orient --quiet", "a.png histogram", "- o.png")


class Folder:
    def __init__(self, top, name):
        self.path = os.path.join(top, name)
        os.makedirs(self.path, exist_ok=True)
        self.seen = set()

    def add(self, data):
        if len(data) <= LARGEST and data not in self.seen:
            self.seen.add(data)
            with open(os.path.join(self.path, "%04d" % len(self.seen)), "wb") as file:
                file.write(data)


def keep_files(top):
    """Runs the tests of formats and keeps every file that zyl is given there."""
    folders = {name: Folder(top, name + "_fuzz") for name in STARTS}
    run_zyl = formats_test.FormatCase.run_zyl

    def keeping(case, *words, data=None, **options):
        files = [open(word, "rb").read(LARGEST + 1) for word in words if os.path.isfile(word)]
        for content in files + [data or b""]:
            for name, starts in STARTS.items():
                if content.startswith(starts):
                    folders[name].add(content)
        return run_zyl(case, *words, data=data, **options)

    formats_test.FormatCase.run_zyl = keeping
    cases = (formats_test.Tiff, formats_test.Jpeg, formats_test.Png, formats_test.Pnm, formats_test.Webp,
             formats_test.Bmp, formats_test.Details)
    suite = unittest.TestSuite(map(unittest.defaultTestLoader.loadTestsFromTestCase, cases))
    with open(os.devnull, "w") as nothing:
        unittest.TextTestRunner(stream=nothing).run(suite)


def helped(zyl):
    """The names of all operations, and what help says of each."""
    ask = lambda *words: subprocess.run([zyl, *words], capture_output=True, text=True, check=True).stdout
    names = re.findall(r"^  ([a-z][a-z0-9-]*) ", ask("list"), re.M)
    return {name: ask("help", name) for name in names}


def main(zyl, top):
    formats_test.ZYL = zyl
    keep_files(top)
    chains, commands = Folder(top, "chain_fuzz"), Folder(top, "options_fuzz")
    words = set()
    for name, text in helped(zyl).items():
        words.add(name)
        for parameter, values in re.findall(r"^  ([a-z][a-z0-9-]*=?)(\S*)", text, re.M):
            words.add(parameter)
            words.update(value for value in values.split("|") if value.islower())
        for example in re.findall(r"zyl \S+ (.*) \S+$", text, re.M):
            for picture in PICTURES:
                chains.add(picture + "\n".join(example.split()).encode())
    for command in COMMANDS:
        words.update(word for word in command.split() if word.startswith("--"))
        commands.add("\n".join(command.split()).encode())
    with open(os.path.join(top, "words.dict"), "w") as file:
        file.writelines('"%s"\n' % word for word in sorted(words))
    chance = random.Random(1)
    for name in ["operations_fuzz"] + [name + "_write_fuzz" for name in STARTS]:
        folder = Folder(top, name)
        for _ in range(100):
            folder.add(chance.randbytes(chance.randint(20, 120)))


if __name__ == "__main__":
    main(*sys.argv[1:])
