#!/usr/bin/env python3
"""doc/doxygen/filter.py makes documentation of plain comments. Usage: doc_filter_test.py ROOT"""
import pathlib
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(sys.argv.pop())


def filtered(text, name="Header.h"):
    with tempfile.TemporaryDirectory() as folder:
        file = pathlib.Path(folder) / name
        file.write_text(text, encoding="utf-8")
        command = [sys.executable, ROOT / "doc/doxygen/filter.py", file]
        return subprocess.run(command, check=True, capture_output=True, encoding="utf-8").stdout


class FilterTest(unittest.TestCase):
    def same(self, text, wanted):
        self.assertEqual(filtered(text), wanted + "/** @file */\n")

    def test_a_comment_in_front_of_a_declaration_is_its_documentation(self):
        self.same("// Adds both.\n// In 64 bits.\nint add(int a, int b);\n",
                  "/** Adds both.\nIn 64 bits. */\nint add(int a, int b);\n")
        self.same("struct S {\n  // Of bytes.\n  int size;\n};\n",
                  "struct S {\n  /** Of bytes. */\n  int size;\n};\n")
        self.same("class C {\npublic:\n  // What it may be.\n  enum E { eOne };\n};\n",
                  "class C {\npublic:\n  /** What it may be. */\n  enum E { eOne };\n};\n")

    def test_a_class_is_named_by_its_declaration_and_not_once_more(self):
        self.same("// Cup: what tea is in.\nclass SHOWN Cup {};\n",
                  "/** What tea is in. */\nclass SHOWN Cup {};\n")
        self.same("// read: comes first.\nvoid write();\n", "/** read: comes first. */\nvoid write();\n")

    def test_the_words_of_a_contract_are_headings(self):
        self.same("// Cup: a cup.\n// Story      Made,\n//            and used.\n// Units      ml.\n"
                  "class Cup {};\n",
                  "/** A cup.\n@par Story\nMade,\nand used.\n@par Units\nml. */\nclass Cup {};\n")

    def test_a_table_stays_as_it_is_laid_out(self):
        self.same("// Cup: a cup.\n// States     value  meaning\n//            0      <empty>\n"
                  "//              1    full\n//            That is all.\nclass Cup {};\n",
                  "/** A cup.\n@par States\n@verbatim\nvalue  meaning\n0      <empty>\n  1    full\n@endverbatim\n"
                  "That is all. */\nclass Cup {};\n")

    def test_a_comment_behind_a_declaration_is_its_own_with_what_follows_below_it(self):
        self.same("struct S {\n  int size;  // of bytes\n             // in memory\n  int more;\n};\n",
                  "struct S {\n  int size;  ///< of bytes\n             ///< in memory\n  int more;\n};\n")
        self.same("enum E {\n  eOne,  // first\n  eTwo,\n};\n",
                  "enum E {\n  eOne,  ///< first\n  eTwo,\n};\n")
        self.same("int two() { return 2; }  // always\n", "int two() { return 2; }  ///< always\n")

        self.same("struct S {\n  int size;  // of bytes\n  // Next.\n  int more;\n};\n",
                  "struct S {\n  int size;  ///< of bytes\n  /** Next. */\n  int more;\n};\n")

    def test_comments_in_functions_and_for_other_tools_are_nobodys(self):
        text = ("inline int f(int a) {\n  // Not here.\n  if (a) return 1;  // nor here\n"
                "  return 2;\n}\n")
        self.same(text, text)
        text = "int g(int a,\n      // Not here.\n      int b);\n"
        self.same(text, text)
        text = "int g();  // NOLINT(name): so\n"
        self.same(text, text)
        text = "class C {  // of ours\n};  // C\n#endif  // H\n"
        self.same(text, text)

    def test_what_a_function_has_in_braces_and_quotes_does_not_mislead(self):
        self.same('inline char f() { return "}{"[0] + \'{\'; }\n// Next.\nint g();\n',
                  'inline char f() { return "}{"[0] + \'{\'; }\n/** Next. */\nint g();\n')
        self.same("struct S {\n  Word word{0};\n  // Next.\n  int g();\n};\n",
                  "struct S {\n  Word word{0};\n  /** Next. */\n  int g();\n};\n")

    def test_a_comment_that_stands_alone_is_the_title_of_what_is_below_it(self):
        self.same("class C {\npublic:\n  // Look-ups. They wait.\n\n  int f();\n\n  // Changes.\n\n"
                  "  int g();\n\nprivate:\n  int h_;\n};\n",
                  "class C {\npublic:\n  /** @name Look-ups\n  They wait.\n  @{ */\n\n  int f();\n\n"
                  "/**@}*/\n  /** @name Changes\n  @{ */\n\n  int g();\n\n/**@}*/\nprivate:\n"
                  "  int h_;\n};\n")
        self.same("class C {\npublic:\n  // All.\n\n  int f();\n};\n",
                  "class C {\npublic:\n  /** @name All\n  @{ */\n\n  int f();\n/**@}*/\n};\n")

    def test_before_the_first_declaration_it_is_the_files(self):
        self.assertEqual(filtered("#pragma once\n\n// What goes.\n// Threads    any.\n\n// One.\nint f();\n"),
                         "#pragma once\n\n/** @file\nWhat goes.\n@par Threads\nany. */\n\n"
                         "/** One. */\nint f();\n")

        self.assertEqual(filtered("#pragma once\n\n// Of marks.\n#if defined(M)\n// One.\n#define N 1\n#endif\n"),
                         "#pragma once\n\n/** @file\nOf marks. */\n#if defined(M)\n/** One. */\n"
                         "#define N 1\n#endif\n")

    def test_nothing_in_a_comment_is_a_command(self):
        self.same("// Of a\\b <c> @d #e %f &g --h `x<y>` */.\nint f();\n",
                  "/** Of a\\\\b \\<c\\> \\@d \\#e \\%f \\&g \\--h <tt>x\\<y\\></tt> * /. */\nint f();\n")

    def test_links_of_texts_go_to_whole_pages(self):
        self.assertEqual(filtered("See [here](#below), [there](b.md#x), [that](c.md).\n", "a.md"),
                         "See here, [there](b.md), [that](c.md).\n")


if __name__ == "__main__":
    unittest.main()
