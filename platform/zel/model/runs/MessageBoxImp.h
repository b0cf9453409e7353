#pragma once

#include <zel/foundation/OStream.h>
#include <zel/foundation/String.h>

#include <functional>
#include <vector>

namespace zel {

/// A question to the person: title, text, the answers that may be given, one of them the default, and how it
/// is to be shown. Thread rule: one thread at a time.
class ZEL_EXPORT MessageBoxImp
{
public:
    struct Answer
    {
        int code;                  ///< what the asker gets back
        String text;               ///< what the person reads and types, in his language: "Wiederholen"
        String english = String(); ///< "Retry": may be typed as well; empty: the same as the text
    };
    /// What a console says around title and answers, in the person's language.
    struct Words
    {
        String warning = String("Warning");
        String error = String("Error");
        String defaultMark = String("(default)");
        String again = String("Please type one of the numbers or answers above.");
    };

    enum class Type { Ok, OkCancel, YesNo, YesNoCancel, RetryCancel, AbortRetryIgnore };
    enum class Look { Information, Question, Warning, Error };
    /// Where it may be shown, as the settings have decided. Who has no windows shows it as text all the same.
    enum class Surface {
        Text,      ///< no windows
        TextFirst, ///< in a window where no text can be shown
        Window     ///< in a window also where a console could ask
    };
    struct Appearance
    {
        Type type = Type::Ok; ///< which answers, for who has buttons of his own for them
        Look look = Look::Question;
        Surface surface = Surface::Text;
        void* parent = nullptr; ///< the window it belongs to, of the asker's process; not owned
    };

    /// `answers` is not empty; indices out of range count as 0.
    MessageBoxImp(String title, String text, std::vector<Answer> answers, std::size_t defaultAnswer,
                  std::size_t cancelAnswer, Appearance appearance);

    void setWords(Words words) { m_words = std::move(words); }
    Words const& words() const noexcept { return m_words; }
    Appearance const& appearance() const noexcept { return m_appearance; }
    /// The title where the look can only be said, as the library's own lines say it: "Warning: {title}". What is
    /// presented says it in the words of setWords().
    String englishHeading() const { return headingIn(Words()); }
    String const& title() const noexcept { return m_title; }
    String const& text() const noexcept { return m_text; }
    std::vector<Answer> const& answers() const noexcept { return m_answers; }
    String englishOf(int code) const; ///< the answer in English; empty when there is none of that code
    int defaultCode() const noexcept { return m_answers[m_default].code; }
    std::size_t defaultIndex() const noexcept { return m_default; } ///< among the answers
    std::size_t cancelIndex() const noexcept { return m_cancel; }
    int cancelCode() const noexcept { return m_answers[m_cancel].code; }

    /// The answer once it is known; the default before.
    int answer() const noexcept { return m_answer; }
    void setAnswer(int code) noexcept;
    /// False: nobody was asked.
    bool hasAnswer() const noexcept { return m_hasAnswer; }
    /// The wait for an answer ended without one; the answer is that of someone who wants out.
    bool wasCutShort() const noexcept { return m_wasCutShort; }
    void cutShort() noexcept;

    /// Reads one line without its end; false at the end of input or when the wait was interrupted by a stop.
    using ReadLine = std::function<bool(String&)>;
    /// Asks on a console: prints the question and a numbered list, reads a number, a text or its first
    /// letters that fit one answer alone, in the person's language before English; an empty line is the
    /// default. Asks again at most 10 times, then takes the default. No more input: the cancel answer.
    void present(OStream& out, ReadLine const& readLine);

private:
    String headingIn(Words const& words) const;
    Answer const* find(String const& typed) const;
    Answer const* findWhole(String const& typed) const;

    String m_title, m_text;
    std::vector<Answer> m_answers;
    std::size_t m_default, m_cancel;
    Appearance m_appearance;
    Words m_words;
    int m_answer;
    bool m_hasAnswer = false;
    bool m_wasCutShort = false;
};

} // namespace zel
