from support import CheckTest

RULES = """
*          : Orvo/    # the platform
Lib/Low    :
Lib/Left/  : Lib/Low.h
Lib/Right/ : Lib/Low.h
Lib/Top/   : Lib/
"""


class CheckLayers(CheckTest):
    check = "check-layers"

    def setUp(self):
        super().setUp()
        self.write("core/layers.txt", RULES)
        self.write("platform/layers.txt", "low/ :\nhigh/ : Low/ boost/\n")
        self.write("core/Lib/Low.h", "#include <cstdint>\n#include <sys/mman.h>\n")
        self.write("core/Lib/Left/A.h", '#include <Lib/Low.h>\n#include "B.h"\n#include <Orvo/Ptr.h>\n')
        self.write("core/Lib/Left/B.h", "#include <Lib/Left/A.h>\n")
        self.write("core/Lib/Right/C.h", "")
        self.write("core/Lib/Top/D.cpp", "#include <Lib/Left/A.h>\n#include <Lib/Right/C.h>\n")
        self.write("platform/low/Low/L.h", "#include <unistd.h>\n")
        self.write("platform/high/High/H.h", "#include <Low/L.h>\n#include <boost/x.hpp>\n")

    def test_accepts_arrows_that_point_down(self):
        self.assert_passes()

    def test_refuses_an_arrow_that_points_up(self):
        self.write("core/Lib/Low.h", "\n#include <Lib/Top/E.h>\n")
        self.write("core/Lib/Top/E.h")
        self.assert_complains("core/Lib/Low.h:2:", "Lib/Top/E.h", "above")

    def test_refuses_an_arrow_that_points_up_even_where_a_rule_permits_it(self):
        self.write("core/layers.txt", RULES.replace("Lib/Low    :", "Lib/Low    : Lib/Top/"))
        self.write("core/Lib/Low.h", "#include <Lib/Top/E.h>\n")
        self.write("core/Lib/Top/E.h")
        self.assert_complains("core/Lib/Low.h:1:", "above")

    def test_refuses_a_quoted_include_that_points_up(self):
        self.write("core/Lib/Low.h", '#  include "Top/E.h"\n')
        self.write("core/Lib/Top/E.h")
        self.assert_complains("core/Lib/Low.h:1:", "above")

    def test_refuses_an_include_between_neighbours(self):
        self.write("core/Lib/Right/C.h", "#include <Lib/Left/A.h>\n")
        self.assert_complains("core/Lib/Right/C.h:1:", "Lib/Left/A.h", "may include only")

    def test_refuses_a_library_of_the_world_outside(self):
        self.write("core/Lib/Left/B.h", "#include <boost/intrusive/set.hpp>\n")
        self.assert_complains("core/Lib/Left/B.h:1:", "boost/intrusive/set.hpp")

    def test_refuses_a_platform_library_that_knows_one_above_it(self):
        self.write("platform/low/Low/L.h", "#include <High/H.h>\n")
        self.assert_complains("platform/low/Low/L.h:1:", "above")

    def test_refuses_a_platform_library_that_knows_the_core(self):
        self.write("platform/high/High/H.h", "#include <Lib/Low.h>\n")
        self.assert_complains("platform/high/High/H.h:1:", "Lib/Low.h")

    def test_permits_the_test_libraries_in_tests_only(self):
        self.write("platform/low/test/LTest.cpp", "#include <gtest/gtest.h>\n")
        self.assert_passes()
        self.write("platform/low/Low/L.h", "#include <gtest/gtest.h>\n")
        self.assert_complains("platform/low/Low/L.h:1:", "gtest")

    def test_refuses_a_file_without_a_layer(self):
        self.write("core/Other/X.h")
        self.assert_complains("core/Other/X.h:1:", "no layer")

    def test_refuses_a_line_that_is_no_rule(self):
        self.write("core/layers.txt", RULES + "Lib/Low : \n")
        self.assert_complains("core/layers.txt:7:", "Lib/Low")
