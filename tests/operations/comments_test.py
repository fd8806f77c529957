"""Holds the comments of include/zylqx.h to what a reference needs: every function has one, with
all parameters and an example that compiles.

    comments_test.py C-COMPILER [unittest arguments]
"""
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

from table import ROOT, prototypes

HEADER = (ROOT / "include/zylqx.h").read_text()
COMPILER = "cc"
# What examples may use.
EXAMPLE = """\
#include <zylqx.h>
extern void deliver(ZylImage *image, int32_t x, int32_t y, int32_t mode);
extern ZylImage *a, *b, *src, *dst;
extern ZylConvKernel *kernel;
extern ZylColorTwist *twist;
extern ZylLUT *luts[4];
extern int8_t values[9], *buffer;
extern int32_t matrix[16], rows, cols, x, y, shift, cloned;
extern void *dib, *bytes;
"""


def comments():
    """Of each function the comment before it."""
    return {name: comment for comment, name in re.findall(
        r"(/\*\*(?:(?!\*/).)*\*/)\nZYL_API [^;(]*?(zyl\w+)\(", HEADER, flags=re.S)}


def plain(comment):
    return re.sub(r"^/\*\*|\*/$|^ \* ?", "", comment, flags=re.M)


class Comments(unittest.TestCase):
    def test_every_function_has_one(self):
        self.assertEqual(set(comments()), set(prototypes()))

    def test_parameters(self):
        for name, (_, parameters) in prototypes().items():
            with self.subTest(name):
                described = [word for words in re.findall(r"\\param (\S+)", comments()[name])
                             for word in words.split(",")]
                if described or len(parameters) > 1:
                    self.assertEqual(sorted(described), sorted(word for _, word in parameters))

    def test_examples(self):
        source = EXAMPLE
        for name, comment in comments().items():
            example = re.search(r"\\code(.*?)\\endcode", plain(comment), flags=re.S)
            with self.subTest(name):
                self.assertIsNotNone(example)
                self.assertIn(name, example.group(1))
            # One function for each; `image` is what it makes or works on.
            image = "" if "ZylImage *image" in example.group(1) else "extern ZylImage *image;"
            source += f"void example_{name}(void);\n"
            source += f"void example_{name}(void) {{ {image} {example.group(1)} }}\n"
        with tempfile.TemporaryDirectory() as folder:
            file = pathlib.Path(folder, "examples.c")
            file.write_text(source)
            run = subprocess.run([*COMPILER.split(), "-std=c99", "-Wall", "-Werror", "-Wno-unused",
                                  "-fsyntax-only", "-I", ROOT / "include", file],
                                 capture_output=True, text=True)
        self.assertEqual(run.stderr, "")

    # Chapters are numbered as in the list at the top.
    def test_chapters(self):
        listed = re.findall(r"^ \* +(\d+)  (\w.*)$", HEADER, flags=re.M)
        self.assertEqual(re.findall(r"\\defgroup \w+ (\d+)  (\w.*)$", HEADER, flags=re.M), listed)
        self.assertEqual([int(number) for number, _ in listed], list(range(1, len(listed) + 1)))


if __name__ == "__main__":
    COMPILER = sys.argv.pop(1)
    unittest.main()
