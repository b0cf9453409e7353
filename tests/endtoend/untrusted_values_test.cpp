// Whatever a device calls itself: the report's lines are the module's and the library's.
#include <endtoend/ModuleFolder.h>

namespace {

using test::has;
using test::holds;

struct UntrustedValues : test::ModuleFolder
{
    UntrustedValues() : ModuleFolder(UNTRUSTED_MODULE) {}
};

std::size_t count(std::string const& text, std::string const& what)
{
    std::size_t found = 0;
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1))
        ++found;
    return found;
}

TEST_F(UntrustedValues, NeitherSteerTheTerminalNorForgeALine)
{
    m_folder.write(
        "untrusted.w4p",
        "Event.broken.Message=Serial {serial}\\nis bad\\u001b[5m\\n\nText.looking=at {serial}\\n\n");
    test::Start start;
    start.name = "untrusted";
    start.arguments = {"run", "-t", "1", "-d", "1", "-ll", "information"};
    start.input = "o\x1B[2Jk\nok\n";
    test::Outcome const outcome = module(start);
    EXPECT_EQ(outcome.status, 23) << outcome.err;

    std::string const serial = "S\\x1b]0;pwn\\x07\\x1b[2J\\x0d\\x0a\\x0aFinal Result: PASS\\x0a\\x9b"
                               "31m\\x7f\\u202e\\u2066\\u2028\\u061c\xE2\x80\x8D.";
    std::string const message = "Serial " + serial + "\nis bad\\x1b[5m\n";
    EXPECT_TRUE(holds(outcome.out, "Error (1) : " + message)) << "the text's own line feeds stay";
    EXPECT_TRUE(holds(outcome.out, "\n" + message + "at " + serial + "\n"));
    EXPECT_TRUE(
        holds(outcome.out, "\n" + serial + "\nat " + serial + "\n\n  1) OK (default)\n> o\\x1b[2Jk\n"));
    EXPECT_EQ(count(outcome.out, "\nFinal Result: "), 1u) << outcome.out;
    std::string const all = outcome.out + outcome.err + log();
    EXPECT_TRUE(holds(all, "ERR event broken: Serial " + serial + "\n\tis bad\\x1b[5m\n"));
    for (char const* raw : {"\x1B", "\x07", "\r", "\x7F", "\xC2\x9B", "\xE2\x80\xAE", "\xE2\x81\xA6"})
        EXPECT_FALSE(has(all, raw)) << all;
}

} // namespace
