"""Shows that assertion_texts.py finds the texts in a program's image, and each kind of difference."""

import pathlib
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).parent))
import assertion_texts

A = "Assertion 'a == \"b\"' failed"
B = "Failure 'b(\"'\")' occured"
C = "Failure 'c' occured"


class AssertionTextsTest(unittest.TestCase):
    def test_finds_whole_texts_only(self):
        image = f"\x7fELF\0{A}\0\0{B}\0Assertion 'x' failed here\0Failure 'y' occurred\0{C}".encode() + b"\xff\0"
        self.assertEqual(assertion_texts.texts_in(image), {A, B})

    def test_same_texts_do_not_differ(self):
        self.assertEqual(assertion_texts.differences({A, B, C}, [A, B, C]), [])

    def test_differences(self):
        self.assertEqual(assertion_texts.differences({A, B, C}, [A, C]), [f"only in the program: {B}"])
        self.assertEqual(assertion_texts.differences({A, C}, [A, B, C]), [f"only in the table: {B}"])
        self.assertEqual(assertion_texts.differences({A, C}, [C, A]), [f"not in order, or twice: {A}"])
        self.assertEqual(assertion_texts.differences({A, C}, [A, A, C]), [f"not in order, or twice: {A}"])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
