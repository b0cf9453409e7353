#include <krel5/KrelString.h>

#include <libKrel5/basics/DataHolderDefinition.h>

#include <zel/foundation/OStream.h>

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

using krel5::KrelString;

namespace krel5_test {

// Record that tells what happens to it.
struct Probe
{
    Probe() { ++s_alive; }
    explicit Probe(int number) : value(number) { ++s_alive; }
    Probe(Probe const& other) : value(other.value)
    {
        if (s_copyThrows)
            throw std::runtime_error("copy");
        ++s_alive;
        ++s_copies;
    }
    Probe& operator=(Probe const&) = delete;
    ~Probe()
    {
        --s_alive;
        if (value == 1)
            s_copiesWhenOneDied = s_copies;
    }

    int value = 0;
    static inline int s_alive = 0, s_copies = 0, s_copiesWhenOneDied = -1;
    static inline bool s_copyThrows = false;
};

} // namespace krel5_test
using krel5_test::Probe;

namespace {

struct MemoryStream : zel::OStream
{
    void write(std::string_view utf8) override { text += utf8; }
    void flush() override {}
    bool failed() const override { return false; }
    std::string text;
};

} // namespace

template class krel5::DataHolder<krel5_test::Probe>;

TEST(DataHolder, ownsOneRecordAndCopiesItDeeply)
{
    {
        krel5::DataHolder<Probe> first(Probe(1)), second(Probe(2));
        krel5::DataHolder<Probe> copy(first);
        copy.data().value = 7;
        EXPECT_EQ(first.data().value, 1);

        int const copiesBefore = Probe::s_copies;
        Probe const* const record = &first.data();
        krel5::DataHolder<Probe> const& itself = first;
        first = itself;
        first = first.data();
        EXPECT_EQ(&first.data(), record);
        EXPECT_EQ(Probe::s_copies, copiesBefore);

        first = second; // the old record goes before the new one is made
        EXPECT_EQ(Probe::s_copiesWhenOneDied, copiesBefore);
        EXPECT_EQ(first.data().value, 2);
        EXPECT_NE(&first.data(), &second.data());

        Probe::s_copyThrows = true;
        EXPECT_THROW(first = copy, std::runtime_error);
        EXPECT_THROW(krel5::DataHolder<Probe>{copy}, std::runtime_error);
        Probe::s_copyThrows = false;
        EXPECT_EQ(first.data().value, 0); // defined, and destroyed below without a fault
        EXPECT_EQ(copy.data().value, 7);
    }
    EXPECT_EQ(Probe::s_alive, 0);
}

TEST(KrelString, sizesCountCharactersAndMalformedBytesAreReplaced)
{
    struct
    {
        char const* utf8;
        unsigned size;
        char const* out;
    } const cases[] = {
        {"", 0, ""},
        {nullptr, 0, ""},
        {"plain", 5, "plain"},
        {"Zażółć", 6, "Zażółć"},
        {"日本", 2, "日本"},
        {"\xF0\x9F\x98\x80", 2, "\xF0\x9F\x98\x80"}, // outside the basic plane: a pair, returns unchanged
        {"a\x80z", 3, "a\xEF\xBF\xBDz"},             // continuation byte without a lead
        {"\xC3", 1, "\xEF\xBF\xBD"},                 // cut off at the terminator
        {"\xE6\x97", 1, "\xEF\xBF\xBD"},             // the same, in the middle of three
        {"\xF0\x9F\x98", 1, "\xEF\xBF\xBD"},
        {"\xC0\xAF", 2, "\xEF\xBF\xBD\xEF\xBF\xBD"}, // overlong '/'
        {"\xFF"
         "A",
         2,
         "\xEF\xBF\xBD"
         "A"},
    };
    for (auto const& c : cases) {
        KrelString const text(c.utf8);
        EXPECT_EQ(text.size(), c.size) << (c.utf8 ? c.utf8 : "null");
        EXPECT_STREQ(text.getUTF8Buffer(), c.out);
        EXPECT_EQ(text.getUCS2Buffer()[text.size()], 0);
        EXPECT_EQ(KrelString(text.getUCS2Buffer()), text);
    }
}

TEST(KrelString, ucs2ComesBackUnitForUnit)
{
    unsigned short const units[] = {'a', 0x017C, 0xD800, 'b', 0}; // with a lone surrogate
    KrelString const text(units);
    ASSERT_EQ(text.size(), 4u);
    for (unsigned i = 0; i <= 4; ++i)
        EXPECT_EQ(text.getUCS2Buffer()[i], units[i]);
    EXPECT_STREQ(text.getUTF8Buffer(), "a\xC5\xBC\xEF\xBF\xBD"
                                       "b");
    EXPECT_EQ(KrelString(static_cast<unsigned short const*>(nullptr)).size(), 0u);
}

TEST(KrelString, theUtf8BufferStaysUntilTheTextChanges)
{
    KrelString text("one");
    char const* const buffer = text.getUTF8Buffer();
    EXPECT_EQ(text.getUTF8Buffer(), buffer);
    KrelString& itself = text;
    text = itself;
    EXPECT_EQ(text.getUTF8Buffer(), buffer);

    KrelString const copy(text);
    EXPECT_NE(copy.getUTF8Buffer(), buffer);

    text += " two";
    EXPECT_STREQ(text.getUTF8Buffer(), "one two");
    text += itself;
    EXPECT_STREQ(text.getUTF8Buffer(), "one twoone two");
    text = copy;
    EXPECT_STREQ(text.getUTF8Buffer(), "one");
    EXPECT_STREQ(KrelString().getUTF8Buffer(), "");
    EXPECT_EQ(sizeof(KrelString), sizeof(void*));
}

TEST(KrelString, joinsComparesAndPrints)
{
    KrelString const left("żó"), right("łw");
    EXPECT_EQ(left + right, "żółw");
    EXPECT_EQ(left + "łw", KrelString("żółw"));
    EXPECT_NE(left, right);
    EXPECT_NE(KrelString("a"), "A");
    EXPECT_EQ(left, "żó"); // unchanged by the sum
    EXPECT_EQ(left.zelString(), zel::String("żó"));

    MemoryStream stream;
    stream << left << "-" << right;
    EXPECT_EQ(stream.text, "żó-łw");
}
