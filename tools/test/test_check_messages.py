from support import CheckTest

PAGE = """# DMA memory

| `unrelated` | a table above |

## What messages mean

| text | meaning |
|---|---|
{rows}
"""
KNOWN = "| `the pool of … pages is empty` | |\n| `… bytes cannot be mapped: …`, `index '…' is damaged` | |"
SOURCE = """
#include <a "b; c">
// refuse("of a comment; no message");
void f()
{{
   if (isEmpty) {{
      return "the pool of " + size + " pages is empty; run: "
             "echo";
   }}
   refuse(bytes, " bytes cannot be mapped: ", systemText(errno));
   throw Refusal(join("index '", path_, "' is damaged; ", isCut ? "it was cut" : "see 'x'"));
   name("no message, though a text");
   {more}
}}
"""


class CheckMessages(CheckTest):
    check = "check-messages"

    def put(self, rows=KNOWN, more="", path="platform/pinmem/src/Index.cpp"):
        self.write("docs/dma-memory.md", PAGE.format(rows=rows))
        for base in ("platform/pinmem/src/Index.cpp", "platform/pinmem/ctl/Commands.cpp"):
            self.write(base, SOURCE.format(more=""))
        self.write(path, SOURCE.format(more=more))

    def test_accepts_what_is_explained(self):
        self.put()
        self.assert_passes()

    def test_refuses_a_message_that_is_not_explained(self):
        for more, message in (
            ('refuse("no \\"name\\" is given");', 'no "name" is given'),
            ('complain(settings, "a process is using it");', "a process is using it"),
            ('throw NoPages(std::to_string(1) + " bytes need room");', "… bytes need room"),
            ('return isTrue ? "a" : join("the", " node ", n, " is full; free memory");', "the node … is full"),
            ('text << "moved to " << std::hex << address << "; tell devices";', "…moved to …; tell devices"),
        ):
            for path in ("platform/pinmem/src/Index.cpp", "platform/pinmem/ctl/Commands.cpp"):
                with self.subTest(message, path=path):
                    self.put(more=more, path=path)
                    self.assert_complains(f"{path}:13: ", message)

    def test_refuses_an_explanation_without_a_message(self):
        self.put(rows=KNOWN + "\n| `the pool of … pages is full` | |")
        self.assert_complains("docs/dma-memory.md:11: no message begins 'the pool of … pages is full'")

    def test_refuses_a_text_that_stands_in_the_middle_of_a_message(self):
        self.put(rows=KNOWN + "\n| `pages is empty` | |")
        self.assert_complains("no message begins 'pages is empty'")

    def test_looks_at_no_help(self):
        self.put(more='refuse("of the help; no message");', path="platform/pinmem/ctl/main.cpp")
        self.assert_passes()
