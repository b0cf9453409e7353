#include <krel5/AlreadyAddedException.h>
#include <krel5/AlreadyCreatedException.h>
#include <krel5/CannotAddPropertyLinkToNonGroupProperty.h>
#include <krel5/DataType.h>
#include <krel5/IndexOutOfBoundsException.h>
#include <krel5/InternalException.h>
#include <krel5/InvalidCreationException.h>
#include <krel5/InvalidDataTypeException.h>
#include <krel5/InvalidInitException.h>
#include <krel5/InvalidKeyException.h>
#include <krel5/InvalidUnitTypeException.h>
#include <krel5/KrelUnitType.h>
#include <krel5/ParameterNotSetException.h>
#include <krel5/ParameterNotValidException.h>
#include <krel5/TypeMismatchException.h>

#include <libKrel5/basics/ExceptionText.h>

#include <zel/foundation/Exception.h>
#include <zel/foundation/FileSystem.h>
#include <zel/foundation/Logger.h>
#include <zel/foundation/System.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <string>
#include <type_traits>

using namespace krel5;

namespace {

std::string const kTraceMark = "\nStack Trace:\n";

std::string textOf(KrelException const& exception) { return exception.toString().getUTF8Buffer(); }

// The part before the stack trace, which must be there exactly once.
std::string messageOf(KrelException const& exception)
{
    std::string const text = textOf(exception);
    std::size_t const mark = text.find(kTraceMark);
    EXPECT_NE(mark, std::string::npos) << text;
    EXPECT_EQ(text.find(kTraceMark, mark + 1), std::string::npos) << text;
    EXPECT_GT(text.size(), mark + kTraceMark.size()) << "empty stack trace";
    return text.substr(0, mark);
}

zel::StackTrace throwsNoException(unsigned) { throw 42; }

// What `action` writes to the log with every level on.
template <typename Action>
std::string logOf(Action action)
{
    std::string const path =
        testing::TempDir() + "krel5_exceptions_test_" + std::to_string(zel::System::processId()) + ".log";
    std::filesystem::remove(path);
    EXPECT_TRUE(zel::LogFactory::createDefaultFileAppender(path));
    zel::LogFactory::configure("", 0);
    action();
    zel::LogFactory::configure("", 4);
    std::string const text = zel::FileSystem::readFile(path).content.value_or("");
    std::filesystem::remove(path);
    return text;
}

template <typename Exception>
void expectCopies(Exception const& original)
{
    static_assert(std::has_virtual_destructor_v<Exception>);
    static_assert(sizeof(Exception) == 2 * sizeof(void*));
    Exception copy(original);
    EXPECT_EQ(copy.toString(), original.toString());
    EXPECT_NE(&copy.toString(), &original.toString());
    Exception const& itself = copy;
    copy = itself;
    copy = original;
    EXPECT_EQ(copy.toString(), original.toString());
    try {
        throw copy;
    } catch (KrelException const& caught) {
        EXPECT_NE(dynamic_cast<Exception const*>(&caught), nullptr);
        EXPECT_EQ(caught.toString(), original.toString());
    }
}

} // namespace

TEST(KrelException, messagesOfTheSubclasses)
{
    zel::Exception const cause("disk gone");
    DataType const text = DataType::STRING(), number = DataType::UINT32();
    struct
    {
        KrelException exception;
        char const* message;
    } const cases[] = {
        {KrelException("plain"), "plain"},
        {KrelException(KrelString("żółw")), "żółw"},
        {KrelException(zel::String("platform")), "platform"},
        {AlreadyAddedException("Test", "memory", "Parameter", "loops"),
         "Test \"memory\" already has a Parameter with the key \"loops\""},
        {AlreadyCreatedException("Test", "memory"),
         "A Test with the key \"memory\" already exists in this module."},
        {ParameterNotValidException("memory", "loops"), "Parameter \"loops\" not valid for Test \"memory\""},
        {ParameterNotSetException("memory", "loops"),
         "Parameter \"loops\" not set in the settings file for Test \"memory\""},
        {ParameterNotSetException("", "loops"), "Parameter \"loops\" not set in the settings file"},
        {InvalidKeyException("Test", "my test"),
         "Invalid Key: createTest(...) - \"my test\" cannot contain any spaces"},
        {InvalidCreationException("no"), "no"},
        {InvalidInitException("late"), "late"},
        {TypeMismatchException(text, number),
         "type mismatch : value is type \"STRING\", but tried to use type \"UINT32\" instead."},
        {TypeMismatchException(text, number, "loops"),
         "type mismatch : value is type \"STRING\", but tried to use type "
         "\"UINT32\" instead. object key = \"loops\"."},
        {TypeMismatchException("DOUBLE or PERCENT", text),
         "type mismatch : expecting one of the types \"DOUBLE or "
         "PERCENT\", but tried to use type \"STRING\" instead."},
        {InvalidDataTypeException("Value::append", text),
         "invalid data type : in \"Value::append\" encountered invalid data type \"STRING\"."},
        {InvalidUnitTypeException("here", KrelUnitType::HEXADECIMAL32()),
         "invalid unit type : in \"here\" encountered invalid unit type \"HEXADECIMAL32\"."},
        {InternalException(zel::String("broken")), "broken"},
        {InternalException(cause), "Internal Exception: disk gone"},
        {CannotAddPropertyLinkToNonGroupProperty(zel::String("no group")), "no group"},
        {CannotAddPropertyLinkToNonGroupProperty(cause), "Internal Exception: disk gone"},
    };
    for (auto const& c : cases)
        EXPECT_EQ(messageOf(c.exception), c.message);

    std::string const platformText = zel::IndexOutOfBoundsException(0, 4, 9).toString().toUtf8();
    EXPECT_EQ(messageOf(IndexOutOfBoundsException(0, 4, 9)), platformText);
}

TEST(KrelException, aPlatformCauseBringsItsOwnTrace)
{
    zel::Exception const cause("disk gone");
    std::string const expected = "reading:\ndisk gone\n" + cause.getStackTrace().toUtf8() + "\n";
    EXPECT_EQ(textOf(KrelException("reading", cause)), expected);
    EXPECT_EQ(textOf(InternalException("reading", cause)), expected);
}

TEST(KrelException, aKrelCauseKeepsItsOneTrace)
{
    KrelException const inner("inner");
    KrelException const outer("outer", inner);
    EXPECT_EQ(textOf(outer), "outer:\n" + textOf(inner));
    EXPECT_EQ(messageOf(outer), "outer:\ninner");
    EXPECT_EQ(messageOf(KrelException("outermost", outer)), "outermost:\nouter:\ninner");
}

TEST(KrelException, theTraceBeginsOutsideTheExceptionsOwnCode)
{
    for (std::string const& text : {textOf(KrelException("x")), textOf(InvalidInitException("x"))}) {
        std::size_t const start = text.find(kTraceMark) + kTraceMark.size();
        std::string const innermost = text.substr(start, text.find('\n', start) - start);
        EXPECT_EQ(innermost.find("InitException::"), std::string::npos) << text;
        EXPECT_EQ(innermost.find("setMessageWithStackTrace"), std::string::npos) << text;
        EXPECT_NE(innermost.find("theTraceBeginsOutside"), std::string::npos) << text;
    }
}

TEST(KrelException, aTraceThatCannotBeTakenIsATextAndNoSecondException)
{
    EXPECT_EQ(traceText(takenTrace(&throwsNoException, 0)).toUtf8(),
              "!!! exception while constructing stack trace !!!");
}

TEST(KrelException, everyClassIsCaughtByItsTypeAndCopiedDeeply)
{
    zel::String const text("x");
    DataType const type;
    expectCopies(KrelException("x"));
    expectCopies(AlreadyAddedException("a", "b", "c", "d"));
    expectCopies(AlreadyCreatedException("a", "b"));
    expectCopies(ParameterNotValidException("a", "b"));
    expectCopies(ParameterNotSetException("a", "b"));
    expectCopies(InvalidKeyException("a", "b"));
    expectCopies(InvalidCreationException("a"));
    expectCopies(InvalidInitException("a"));
    expectCopies(TypeMismatchException(type, type));
    expectCopies(InvalidDataTypeException("a", type));
    expectCopies(InvalidUnitTypeException("a", KrelUnitType()));
    expectCopies(IndexOutOfBoundsException(0, 1, 2));
    expectCopies(InternalException(text));
    expectCopies(CannotAddPropertyLinkToNonGroupProperty(text));
}

TEST(KrelException, constructorsAreTracedByName)
{
    zel::Exception const cause("x");
    zel::String const text("x");
    DataType const type;
    struct
    {
        std::function<void()> construct;
        char const* label;
    } const cases[] = {
#define TRACED(expression, label) {[&] { (void)expression; }, label}
        TRACED(KrelException(KrelString("x")), "KrelException Ctor from KrelString"),
        TRACED(KrelException("x"), "KrelException Ctor from const char*"),
        TRACED(KrelException(text), "KrelException Ctor from zel::String"),
        TRACED(KrelException("x", cause), "KrelException Ctor from KrelString, zel::Exception"),
        TRACED(AlreadyAddedException("a", "b", "c", "d"), "AlreadyAddedException Ctor"),
        TRACED(AlreadyCreatedException("a", "b"), "AlreadyCreatedException Ctor"),
        TRACED(ParameterNotValidException("a", "b"), "ParameterNotValidException Ctor"),
        TRACED(ParameterNotSetException("a", "b"), "ParameterNotSetException Ctor"),
        TRACED(InvalidKeyException("a", "b"), "InvalidKeyException Ctor"),
        TRACED(InvalidCreationException("a"), "InvalidCreationException Ctor"),
        TRACED(InvalidInitException("a"), "InvalidInitException Ctor"),
        TRACED(TypeMismatchException("a", type), "TypeMismatchException Ctor"),
        TRACED(TypeMismatchException(type, type), "TypeMismatchException Ctor"),
        TRACED(TypeMismatchException(type, type, "a"), "TypeMismatchException Ctor"),
        TRACED(InvalidDataTypeException("a", type), "InvalidDataTypeException Ctor"),
        TRACED(InvalidUnitTypeException("a", KrelUnitType()), "InvalidUnitTypeException Ctor"),
        TRACED(IndexOutOfBoundsException(0, 1, 2), "IndexOutOfBoundsException Ctor"),
        TRACED(InternalException(text), "InternalException Ctor from zel::String"),
        TRACED(InternalException(cause), "InternalException Ctor from zel::Exception"),
        TRACED(InternalException(text, cause), "InternalException Ctor from zel::String, zel::Exception"),
#undef TRACED
    };
    for (auto const& c : cases) {
        std::string const log = logOf(c.construct);
        for (std::string const& passage : {std::string("entering "), std::string("leaving ")}) {
            EXPECT_NE(log.find(passage + c.label + "\n"), std::string::npos) << log;
            EXPECT_EQ(log.find(passage), log.rfind(passage)) << "one scope a constructor: " << log;
        }
        EXPECT_NE(log.find(" krel5.KrelException "), std::string::npos) << log;
    }
}

TEST(KrelString, standsInALogLine)
{
    KrelString const text("żółw");
    std::string const log = logOf([&] {
        zel::Logger& logger = zel::LogFactory::getLogger("krel5.StringTest");
        ZEL_LOG(logger, zel::LogLevel::Debug) << "device = " << text << "!";
        zel::LoggerStream line(logger, zel::LogLevel::Debug, __LINE__);
        line + text;
    });
    EXPECT_NE(log.find("device = żółw!"), std::string::npos) << log;
    EXPECT_NE(log.find(" żółw\n"), std::string::npos) << log;
}
