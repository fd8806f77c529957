"""Holds operations/operations.json against include/zylqx.h."""
import re
import unittest

from table import C_TYPES, CHOICES, DEPTHS, LAYOUTS, OPERATIONS, RANGES, TABLE
from table import constants, pairs, prototypes

# Functions that take or make images, but do nothing to their pixels.
HANDLING = {"zylCreateImageHeader", "zylAllocateImage", "zylDeallocateImage", "zylDeallocate",
            "zylDeallocateHeader", "zylSetBorderMode", "zylBadImageHeader"}
FIELDS = {
    "operation": ({"function", "name", "family", "help", "parameters", "depths", "layouts",
                   "result", "reads", "borders", "regions", "channel", "tiles", "inPlace",
                   "alpha", "example"}, {"models", "helpers", "note"}),
    "parameter": ({"name", "kind", "help"},
                  {"word", "unit", "min", "max", "default", "small", "extreme", "nullable",
                   "choices", "of"}),
}
PARAMETERS = [(operation, parameter) for operation in OPERATIONS
              for parameter in operation["parameters"]]
WORDS = {"result": {"same", "scaled", "changed", "number", "tables", "new", "bitmap"},
         "reads": {"pixel", "around", "elsewhere", "all"},
         "alpha": {"channel", "kept", "used"}}


class Header(unittest.TestCase):
    def test_functions(self):
        with_images = {name for name, (result, parameters) in prototypes().items()
                       if "ZylImage" in result or any("ZylImage" in kind for kind, _ in parameters)}
        self.assertEqual(len(prototypes()), 97)
        self.assertEqual(with_images - HANDLING, {each["function"] for each in OPERATIONS})
        self.assertEqual(HANDLING - with_images, set())

    def test_parameters(self):
        header = prototypes()
        for operation in OPERATIONS:
            with self.subTest(operation["function"]):
                described = [(C_TYPES[each["kind"]], each["name"]) for each in operation["parameters"]]
                self.assertEqual(described, header[operation["function"]][1])
                for helper in operation.get("helpers", []):
                    self.assertIn(helper, header)

    def test_choices_are_the_constants(self):
        header = constants()
        for name, choices in CHOICES.items():
            self.assertEqual(len({each["word"] for each in choices}), len(choices), name)
            self.assertEqual(len({each["value"] for each in choices}), len(choices), name)
            for choice in choices:
                if choice["constant"]:
                    self.assertEqual(header[choice["constant"]], choice["value"])
        used = {each.get("choices") for _, each in PARAMETERS} - {None}
        self.assertEqual(used, set(CHOICES))

    def test_fields(self):
        for operation in OPERATIONS:
            with self.subTest(operation["function"]):
                needed, others = FIELDS["operation"]
                self.assertEqual(needed - set(operation), set())
                self.assertEqual(set(operation) - needed - others, set())
                for field, words in WORDS.items():
                    self.assertIn(operation[field], words)
        for operation, parameter in PARAMETERS:
            with self.subTest(operation["function"], parameter=parameter["name"]):
                needed, others = FIELDS["parameter"]
                self.assertEqual(needed - set(parameter), set())
                self.assertEqual(set(parameter) - needed - others, set())

    def test_names(self):
        names = [each["name"] for each in OPERATIONS]
        self.assertEqual(len(set(names)), len(names))
        families = [each["name"] for each in TABLE["families"]]
        self.assertEqual(list(dict.fromkeys(each["family"] for each in OPERATIONS)), families)
        for operation in OPERATIONS:
            with self.subTest(operation["function"]):
                words = [each["word"] for each in operation["parameters"] if "word" in each]
                self.assertEqual(len(set(words)), len(words))
                for word in [operation["name"], *words]:
                    self.assertRegex(word, r"^[a-z][a-z0-9]*(-[a-z0-9]+)*$")
                for text in [operation, *operation["parameters"]]:
                    self.assertNotRegex(text["help"], r"^[A-Z][a-z]|\.$|\n")

    def test_depths_and_layouts(self):
        for operation in OPERATIONS:
            with self.subTest(operation["function"]):
                self.assertLessEqual({each for pair in pairs(operation["depths"]) for each in pair},
                                     set(DEPTHS))
                self.assertLessEqual({each for pair in pairs(operation["layouts"]) for each in pair},
                                     set(LAYOUTS))

    # Limits and defaults are numbers, or come from another parameter, from the source's size or
    # from the range of the result's depth.
    def test_limits(self):
        for operation, parameter in PARAMETERS:
            names = {each["name"] for each in operation["parameters"]}
            for field in {"min", "max", "default"} & set(parameter):
                limit = parameter[field]
                if isinstance(limit, str) and parameter["kind"] != "choice":
                    with self.subTest(operation["function"], parameter=parameter["name"]):
                        base = re.fullmatch(r"(\w+)(-1|/2|\.min|\.max)?", limit).group(1)
                        self.assertIn(base, names | {"depth", "width", "height"})

    def test_numbers_are_in_range(self):
        for operation, parameter in PARAMETERS:
            if parameter["kind"] not in RANGES:
                continue
            numbers = [*parameter["small"], *parameter["extreme"], parameter.get("default", "")]
            least, most = RANGES[parameter["kind"]]
            least, most = parameter.get("min", least), parameter.get("max", most)
            for number in (each for each in numbers if isinstance(each, int)):
                with self.subTest(operation["function"], parameter=parameter["name"]):
                    if isinstance(least, int):
                        self.assertGreaterEqual(number, least)
                    if isinstance(most, int):
                        self.assertLessEqual(number, most)

    def test_default_choices(self):
        for operation, parameter in PARAMETERS:
            if parameter["kind"] in ("choice", "flags") and "default" in parameter:
                default = parameter["default"]
                with self.subTest(operation["function"], parameter=parameter["name"]):
                    self.assertLessEqual(set(default if isinstance(default, list) else [default]),
                                         {each["word"] for each in CHOICES[parameter["choices"]]})


if __name__ == "__main__":
    unittest.main()
