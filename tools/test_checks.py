#!/usr/bin/env python3
"""Test the checks of this folder: each must find what it is for, in a little tree made for the purpose."""
import pathlib
import tempfile
import unittest

import check_floors
import check_messages
import check_words

LOG_WORDS = """/// @file
#define NOTE_PRINT(result_, message_, ...) (ZYLLogMessage_printWithParams(&(message_), __VA_ARGS__), (result_))
#define NOTE_BAD(result_, parameter_) NOTE_PRINT(result_, BAD_s, #parameter_)
#define NOTE_FAILED(result_, what_) NOTE_PRINT(result_, FAILURE_s, what_)
"""


class Tree(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name).resolve()

    def write(self, path, text):
        (self.root / path).parent.mkdir(parents=True, exist_ok=True)
        (self.root / path).write_text(text)

    def assert_finds(self, findings, *parts):
        self.assertEqual(len(findings), len(parts), findings)
        for finding, part in zip(findings, parts):
            self.assertIn(part, finding)


class Floors(Tree):
    def check(self, path, text):
        self.write(path, text)
        return check_floors.check_file(self.root, pathlib.Path(path))

    def test_a_lower_floor_may_be_included_and_a_higher_one_may_not(self):
        self.write("srcC/halo_runtime/vesk/VESKX.pkg.h", "")
        self.assert_finds(self.check("srcC/halo_runtime/dds/A.cpp", '#include "../vesk/VESKX.pkg.h"\n'))
        self.assert_finds(self.check("srcC/halo_runtime/zyl/A.cpp", '#include "../vesk/VESKX.pkg.h"\n'),
                          "A.cpp:1: floor 1 must not include")

    def test_private_headers_stay_in_their_folder(self):
        self.write("srcC/halo_runtime/zyl/X.hpp", "")
        self.assert_finds(self.check("srcC/halo_runtime/zyl/A.cpp", '#include "X.hpp"\n'))
        self.assert_finds(self.check("srcC/halo_runtime/dds/A.cpp", '#include "../zyl/X.hpp"\n'), "stays in its folder")

    def test_only_the_platform_sees_the_operating_system(self):
        for header in ("pthread.h", "thread", "chrono", "sys/socket.h"):
            self.assert_finds(self.check("srcC/halo_runtime/platform/std/A.cpp", f"#include <{header}>\n"))
            self.assert_finds(self.check("srcC/halo_utility/A.cpp", f"#include <{header}>\n"), "platform may include")

    def test_nothing_above_the_seam_blocks_or_measures_time(self):
        for text in ("std::this_thread::yield();", "flag.notify_one();", "usleep (1);", "pthread_self();"):
            self.assert_finds(self.check("srcC/halo_runtime/vesk/A.cpp", f"void f() {{ {text} }}\n"), "seam")
        self.assert_finds(self.check("srcC/halo_runtime/vesk/A.cpp", '// usleep(1)\nconst char *a = "usleep(1)";\n'))

    def test_nothing_above_the_seam_is_made_by_a_local_static(self):
        for text in ("static const Key key = make();", "static Globals globals;", "static Key key{make()};"):
            body = f"Key f()\n{{\n    {text}\n}}\n"
            self.assert_finds(self.check("srcC/halo_runtime/platform/std/A.cpp", body))
            self.assert_finds(self.check("srcC/halo_runtime/zyl/A.cpp", body), "A.cpp:3: a local static")
        for text in ("static constexpr int count = 3;", "static int f(int a = 0);", "static_cast<void>(a);",
                     "static int f() { return 1; }", "const int a = static_cast<int>(b);"):
            self.assert_finds(self.check("srcC/halo_runtime/zyl/A.cpp", f"struct A {{\n    {text}\n}};\n"))

    def test_examples_and_public_headers_see_public_headers_only(self):
        self.write("srcC/halo_utility/X.pkg.h", "")
        self.assert_finds(self.check("examples/a.c", '#include "../srcC/halo_utility/X.pkg.h"\n'), "include/ only")
        self.assert_finds(self.check("include/dds_c/dds_c_log.h", "#include <stdio.h>\n"), "public header")
        self.assert_finds(self.check("include/dds_c/dds_c_log.h", "#include <stdint.h>\n"))
        self.write("srcC/halo_runtime/zyl/X.pkg.h", "")
        self.assert_finds(self.check("include/dds_c/generic/a.hpp", '#include "halo_runtime/zyl/X.pkg.h"\n'),
                          "a public header must not include")
        self.assert_finds(self.check("include/dds_c/generic/a.hpp", "#include <cstring>\n"))

    def check_subjects(self, **texts):
        for name, text in texts.items():
            self.write(f"srcC/halo_utility/AsyncWaitSet{name.replace('_', '.')}", text)
        return check_floors.check_subjects(self.root)

    def test_a_subject_includes_those_below_it_only(self):
        self.assert_finds(self.check_subjects(Request_hpp="", Run_cpp='#include "AsyncWaitSetRequest.hpp"\n'))
        self.assert_finds(self.check_subjects(Start_hpp="", Request_cpp='#include "AsyncWaitSetStart.hpp"\n'),
                          "AsyncWaitSetRequest.cpp: includes AsyncWaitSetStart.hpp")
        self.assert_finds(self.check_subjects(Sidecar_cpp=""), "no place in the order")

    def test_a_call_upwards_is_found_however_it_was_declared(self):
        upper = "void AWS_wake(int *self,\n              int n) ZYL_NOT_ANALYZED\n{\n    AWS_lower();\n}\n"
        self.assert_finds(self.check_subjects(Start_cpp=upper, Request_hpp="void AWS_wake(int *self, int n);\n",
                                              Request_cpp="void AWS_lower()\n{\n}\n"))
        self.assert_finds(self.check_subjects(Request_cpp="void AWS_lower()\n{\n    AWS_wake(nullptr, 1);\n}\n"),
                          "AsyncWaitSetRequest.cpp: uses AWS_wake of AsyncWaitSetStart.cpp")


class Messages(Tree):
    def check(self, library, test):
        self.write("srcC/Log.hpp", LOG_WORDS)
        self.write("srcC/A.cpp", library)
        self.write("test/A_test.cpp", test)
        return check_messages.check_tree(self.root)

    def test_a_message_must_be_named_together_with_its_function(self):
        library = 'int DDS_f(int *self)\n{\n    return NOTE_FAILED(1, "find it");\n}\n'
        self.assert_finds(self.check(library, 'DDS_f(); EXPECT("find it");'))
        self.assert_finds(self.check(library, 'DDS_g(); EXPECT("find it");'), "find it")
        self.assert_finds(self.check(library, "DDS_f();"), "find it")
        self.assert_finds(self.check(library, 'DDS_f(); // "find it"'), "find it")

    def test_a_helper_is_known_by_its_texts_alone(self):
        library = 'int find(int *self)\n{\n    return NOTE_FAILED(1, "find it");\n}\n'
        self.assert_finds(self.check(library, 'DDS_f(); EXPECT("find it");'))
        self.assert_finds(self.check(library, "DDS_f();"), "find it")

    def test_names_that_become_strings_and_parts_of_formats_count(self):
        self.assert_finds(self.check("int DDS_f(int *self)\n{\n    return NOTE_BAD(1, property);\n}\n", "DDS_f();"),
                          "property")
        library = 'int DDS_f(int *self)\n{\n    return NOTE_FAILED(1, "one %d of " "many\\n");\n}\n'
        self.assert_finds(self.check(library, 'DDS_f(); EXPECT("one 5 of many");'))
        self.assert_finds(self.check(library, 'DDS_f(); EXPECT("two 5 of many");'), "one")


class Words(Tree):
    def check(self, text, path="a.cpp"):
        return check_words.check_text(pathlib.Path(path), text)

    def test_notes_and_paths_of_a_machine_are_found(self):
        self.assert_finds(self.check("/// @file\n// " + "TO" + "DO: later\n"), "must not stay")
        self.assert_finds(self.check("/// @file\n// see /ho" + "me/me/x\n"), "path of one machine")
        self.assert_finds(self.check("/// @file\n// build/release/test and a/tmp/b\n"))

    def test_layout_is_checked(self):
        self.assert_finds(self.check("int a;\n"), "what the file is about")
        self.assert_finds(self.check("/// @file\nint a; \n"), "blanks")
        self.assert_finds(self.check("/// @file\nint a;"), "does not end")
        self.assert_finds(self.check("/// @file\n//" + "x" * 130 + "\n"), "characters")

    def test_long_functions_of_the_library_need_a_reason(self):
        def function(length, comment=""):
            return f"/// @file\n\n{comment}void f()\n{{\n" + "    a();\n" * (length - 2) + "}\n"
        self.assert_finds(self.check(function(45), "srcC/a.cpp"))
        self.assert_finds(self.check(function(46), "srcC/a.cpp"), "srcC/a.cpp:4: a function of 46 lines")
        self.assert_finds(self.check(function(46, "/// Long: a table.\n"), "srcC/a.cpp"))
        self.assert_finds(self.check(function(46), "test/a.cpp"))


if __name__ == "__main__":
    unittest.main()
