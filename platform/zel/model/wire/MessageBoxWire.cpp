#include <zel/model/wire/MessageBoxWire.h>

#include <zel/model/wire/WordWire.h>

#include <utility>

namespace zel::wire {
namespace {

using Type = MessageBoxImp::Type;
using Look = MessageBoxImp::Look;
using Surface = MessageBoxImp::Surface;

constexpr Word<Type> kTypes[] = {{Type::Ok, "ok"},
                                 {Type::OkCancel, "okCancel"},
                                 {Type::YesNo, "yesNo"},
                                 {Type::YesNoCancel, "yesNoCancel"},
                                 {Type::RetryCancel, "retryCancel"},
                                 {Type::AbortRetryIgnore, "abortRetryIgnore"}};
constexpr Word<Look> kLooks[] = {{Look::Information, "information"},
                                 {Look::Question, "question"},
                                 {Look::Warning, "warning"},
                                 {Look::Error, "error"}};
constexpr Word<Surface> kSurfaces[] = {
    {Surface::Text, "text"}, {Surface::TextFirst, "textFirst"}, {Surface::Window, "window"}};

constexpr std::pair<std::string_view, String MessageBoxImp::Words::*> kWords[] = {
    {"warning", &MessageBoxImp::Words::warning},
    {"error", &MessageBoxImp::Words::error},
    {"defaultMark", &MessageBoxImp::Words::defaultMark},
    {"again", &MessageBoxImp::Words::again}};

} // namespace

void writeMessageBox(XmlWriter& writer, MessageBoxImp const& box)
{
    writer.open("messageBox");
    writer.textIfAny("title", box.title());
    writer.textIfAny("text", box.text());
    writeWord(writer, "type", box.appearance().type, kTypes);
    writeWord(writer, "look", box.appearance().look, kLooks);
    writeWord(writer, "surface", box.appearance().surface, kSurfaces);
    writer.number("default", box.defaultIndex());
    writer.number("cancel", box.cancelIndex());
    if (box.hasAnswer())
        writer.number("answer", box.answer());
    writer.flag("cutShort", box.wasCutShort());
    for (auto const& [name, word] : kWords)
        writer.text(name, box.words().*word);
    for (MessageBoxImp::Answer const& one : box.answers()) {
        writer.open("answer");
        writer.number("code", one.code);
        writer.text("text", one.text);
        writer.textIfAny("english", one.english);
        writer.close("answer");
    }
    writer.close("messageBox");
}

MessageBoxImp readMessageBox(XmlReader& reader)
{
    String const title = reader.text("title"), text = reader.text("text");
    MessageBoxImp::Appearance const appearance{
        readWord(reader, "type", Type::Ok, kTypes), readWord(reader, "look", Look::Question, kLooks),
        readWord(reader, "surface", Surface::Text, kSurfaces), nullptr};
    auto const standard = reader.number<std::size_t>("default", 0),
               cancel = reader.number<std::size_t>("cancel", 0);
    bool const isAnswered = reader.has("answer"), wasCutShort = reader.flag("cutShort");
    int const answer = reader.number<int>("answer", 0);
    MessageBoxImp::Words words;
    for (auto const& [name, word] : kWords)
        if (reader.has(name))
            words.*word = reader.text(name);
    std::vector<MessageBoxImp::Answer> answers;
    for (XmlReader::Children children(reader); children.next();)
        if (reader.name() == "answer")
            answers.push_back({reader.number<int>("code"), reader.required("text"), reader.text("english")});
    if (answers.size() <= standard || answers.size() <= cancel)
        reader.fail("a question without the answer that is its default or ends it");
    MessageBoxImp box(title, text, std::move(answers), standard, cancel, appearance);
    box.setWords(std::move(words));
    if (wasCutShort)
        box.cutShort();
    if (isAnswered)
        box.setAnswer(answer);
    return box;
}

} // namespace zel::wire
