#include <zel/model/runs/MessageBoxImp.h>

#include <algorithm>

namespace zel {

namespace {
constexpr int kMostTries = 10;

String const& shown(MessageBoxImp::Answer const& answer) { return answer.text; }
String const& inEnglish(MessageBoxImp::Answer const& answer)
{
    return answer.english.empty() ? answer.text : answer.english;
}
} // namespace

MessageBoxImp::MessageBoxImp(String title, String text, std::vector<Answer> answers,
                             std::size_t defaultAnswer, std::size_t cancelAnswer, Appearance appearance)
    : m_title(std::move(title)), m_text(std::move(text)), m_answers(std::move(answers)),
      m_default(defaultAnswer < m_answers.size() ? defaultAnswer : 0),
      m_cancel(cancelAnswer < m_answers.size() ? cancelAnswer : 0), m_appearance(appearance),
      m_answer(m_answers.at(m_default).code)
{}

String MessageBoxImp::headingIn(Words const& words) const
{
    switch (m_appearance.look) {
    case Look::Information:
    case Look::Question:
        return m_title;
    case Look::Warning:
        return words.warning + ": " + m_title;
    case Look::Error:
        return words.error + ": " + m_title;
    }
    return m_title;
}

String MessageBoxImp::englishOf(int code) const
{
    auto const found = std::find_if(m_answers.begin(), m_answers.end(),
                                    [code](Answer const& one) { return one.code == code; });
    return found == m_answers.end() ? String() : inEnglish(*found);
}

void MessageBoxImp::setAnswer(int code) noexcept
{
    m_answer = code;
    m_hasAnswer = true;
}

void MessageBoxImp::cutShort() noexcept
{
    setAnswer(cancelCode());
    m_wasCutShort = true;
}

MessageBoxImp::Answer const* MessageBoxImp::findWhole(String const& typed) const
{
    for (std::size_t i = 0; i < m_answers.size(); ++i)
        if (typed == String::number(static_cast<std::uint64_t>(i + 1)) ||
            typed == m_answers[i].text.lowered())
            return &m_answers[i];
    for (Answer const& one : m_answers)
        if (typed == inEnglish(one).lowered())
            return &one;
    return nullptr;
}

MessageBoxImp::Answer const* MessageBoxImp::find(String const& typed) const
{
    String const lowered = typed.lowered();
    if (Answer const* const whole = findWhole(lowered))
        return whole;
    String const& (*const forms[])(Answer const&) = {shown, inEnglish};
    for (auto const form : forms) {
        auto const begins = [&](Answer const& one) { return form(one).lowered().startsWith(lowered); };
        auto const count = std::count_if(m_answers.begin(), m_answers.end(), begins);
        if (count > 0) // of two that fit neither is meant
            return count > 1 ? nullptr : &*std::find_if(m_answers.begin(), m_answers.end(), begins);
    }
    return nullptr;
}

void MessageBoxImp::present(OStream& out, ReadLine const& readLine)
{
    out << headingIn(m_words).withoutControls(false) << endl << m_text.withoutControls(true) << endl;
    for (std::size_t i = 0; i < m_answers.size(); ++i)
        out << "  " << static_cast<std::uint64_t>(i + 1) << ") " << m_answers[i].text.withoutControls(false)
            << (i == m_default ? String(" ") + m_words.defaultMark.withoutControls(false) : String()) << endl;
    for (int tries = 0; tries < kMostTries; ++tries) {
        out << "> ";
        out.flush();
        String line;
        if (!readLine(line)) {
            out << endl;
            cutShort();
            return;
        }
        line = line.trimmed();
        Answer const* const chosen = line.empty() ? &m_answers[m_default] : find(line);
        if (chosen)
            return setAnswer(chosen->code);
        out << m_words.again << endl;
    }
    cutShort(); // whatever comes in there, it is nobody who answers
}

} // namespace zel
