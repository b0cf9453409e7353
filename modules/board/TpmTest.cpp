#include <board/TpmTest.h>

#include <board/Events.h>

#include <common/ErrorText.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <optional>

namespace krel5::modules::board {
namespace {

constexpr std::size_t kHeader = 10; // tag, size, code
constexpr std::size_t kMostAnswer = 4096;
constexpr std::uint32_t kFailure2 = 0x101, kTesting2 = 0x90A, kRetry2 = 0x922, kYielded2 = 0x908; // TPM_RC
constexpr std::uint32_t kFailedSelfTest1 = 0x1C, kRetry1 = 0x800, kDoingSelfTest1 = 0x802; // TPM_RESULT
constexpr double kBetweenQuestions = 0.2;

using Bytes = std::vector<std::uint8_t>;

struct Dialect
{
    Bytes selfTest, result;
    std::uint16_t answerTag;
};

Dialect dialectOf(int version)
{
    if (version == 1)
        return {{0x00, 0xC1, 0, 0, 0, 10, 0, 0, 0, 0x50}, {0x00, 0xC1, 0, 0, 0, 10, 0, 0, 0, 0x54}, 0x00C4};
    return {
        {0x80, 0x01, 0, 0, 0, 11, 0, 0, 0x01, 0x43, 1}, {0x80, 0x01, 0, 0, 0, 10, 0, 0, 0x01, 0x7C}, 0x8001};
}

std::uint32_t numberAt(Bytes const& bytes, std::size_t at, int count)
{
    std::uint32_t value = 0;
    for (int i = 0; i < count; ++i)
        value = value << 8 | bytes[at + static_cast<std::size_t>(i)];
    return value;
}

std::string codeText(std::uint32_t code)
{
    char text[16];
    std::snprintf(text, sizeof text, "0x%X", code);
    return text;
}

class TpmTest
{
public:
    TpmTest(TestHost& host, Tpm const& tpm) : m_host(host), m_tpm(tpm), m_dialect(dialectOf(tpm.version)) {}

    Outcome run()
    {
        if (auto const refused = notThere())
            return *refused;
        m_begin = m_tpm.now();
        auto const code = testItself();
        if (!code)
            return *m_end;
        if (isFailure(*code)) {
            m_host.fault({kEventTpmFailed, {{"Code", codeText(*code)}}});
            return Outcome::Fail;
        }
        if (*code != 0) {
            m_host.problem({kEventTpmCode, {{"Code", codeText(*code)}}});
            return Outcome::CannotRun;
        }
        m_host.note({kEventTpmWell, {{"Version", m_tpm.version == 1 ? "1.2" : "2.0"}}});
        return Outcome::Pass;
    }

private:
    /// What came of its self-test; nothing: m_end says why.
    std::optional<std::uint32_t> testItself()
    {
        bool isTold = false; // to test itself; then it is asked for the result
        while (true) {
            auto const code = isTold ? askResult() : ask(m_dialect.selfTest);
            if (!code || (!isBusy(*code) && (*code != 0 || isTold)))
                return code;
            if (isBusy(*code) && !pause())
                return std::nullopt;
            // A command that it had no time for has to be sent again. The result that version 1.2 gives does not say how its self-test went.
            isTold = isTold || *code == 0 || (m_tpm.version != 1 && *code == kTesting2);
        }
    }

    std::optional<Outcome> notThere()
    {
        if (m_tpm.version == 0) {
            m_host.problem({kEventTpmNone, {}});
            return Outcome::NotSupported;
        }
        if (m_tpm.error == 0)
            return std::nullopt;
        m_host.problem({kEventTpmRefused, {{"Reason", errorText(m_tpm.error)}}});
        return m_tpm.error == EACCES || m_tpm.error == EPERM ? Outcome::InsufficientPrivilege
                                                             : Outcome::CannotRun;
    }

    bool isFailure(std::uint32_t code) const
    {
        return m_tpm.version == 1 ? code == kFailedSelfTest1 : code == kFailure2;
    }
    bool isBusy(std::uint32_t code) const
    {
        return m_tpm.version == 1 ? code == kDoingSelfTest1 || code == kRetry1
                                  : code == kTesting2 || code == kRetry2 || code == kYielded2;
    }

    void end(Outcome outcome) { m_end = outcome; }
    void silent()
    {
        m_host.fault({kEventTpmSilent, {{"Seconds", std::to_string(static_cast<int>(kTpmSeconds))}}});
        end(Outcome::Fail);
    }
    /// The driver had no answer to give. Why: the TPM is out of reach, or the system is short of something.
    void broken(int error)
    {
        bool const isTpm = error == EIO || error == ETIME || error == ETIMEDOUT || error == ENODEV;
        if (isTpm)
            m_host.fault({kEventTpmBroken, {{"Reason", errorText(error)}}});
        else
            m_host.problem({kEventTpmRefused, {{"Reason", errorText(error)}}});
        end(isTpm ? Outcome::Fail : Outcome::CannotRun);
    }
    std::optional<std::uint32_t> nonsense(Bytes const& answer)
    {
        std::string text;
        for (std::size_t i = 0; i < std::min<std::size_t>(answer.size(), 16); ++i) {
            char byte[8];
            std::snprintf(byte, sizeof byte, "%02X", answer[i]);
            text += byte;
        }
        m_host.fault({kEventTpmNonsense, {{"Answer", text.empty() ? "-" : text}}});
        end(Outcome::Fail);
        return std::nullopt;
    }

    /// False at a stop, or when a self-test takes too long.
    bool pause()
    {
        for (double const from = m_tpm.now(); m_tpm.now() - from < kBetweenQuestions;) {
            if (m_host.stopRequested()) {
                end(Outcome::Stopped);
                return false;
            }
            Bytes ignored;
            m_tpm.receive(ignored); // waits; nobody was asked
        }
        if (m_tpm.now() - m_begin < kTpmSeconds)
            return true;
        silent();
        return false;
    }

    bool hear(Bytes& answer)
    {
        double const from = m_tpm.now();
        while (true) {
            if (auto const error = m_tpm.receive(answer)) {
                if (*error != 0)
                    broken(*error);
                return *error == 0;
            }
            double const waited = m_tpm.now() - from;
            m_host.progress(static_cast<int>(100 * waited / kTpmSeconds));
            if (m_host.stopRequested())
                end(Outcome::Stopped);
            else if (waited >= kTpmSeconds)
                silent();
            if (m_end)
                return false;
        }
    }

    /// The code of the answer; nothing: m_end says why.
    std::optional<std::uint32_t> ask(Bytes const& command, Bytes* whole = nullptr)
    {
        if (int const error = m_tpm.send(command)) {
            m_host.problem({kEventTpmRefused, {{"Reason", errorText(error)}}});
            end(Outcome::CannotRun);
            return std::nullopt;
        }
        Bytes answer;
        if (!hear(answer))
            return std::nullopt;
        if (answer.size() < kHeader || answer.size() > kMostAnswer || numberAt(answer, 2, 4) != answer.size())
            return nonsense(answer);
        std::uint32_t const code = numberAt(answer, 6, 4);
        // A TPM 2.0 answers a command that it does not understand at all as version 1.2 did.
        if (numberAt(answer, 0, 2) != m_dialect.answerTag && !(code != 0 && numberAt(answer, 0, 2) == 0x00C4))
            return nonsense(answer);
        if (whole)
            *whole = answer;
        return code;
    }

    /// What the TPM says of its last self-test.
    std::optional<std::uint32_t> askResult()
    {
        Bytes answer;
        auto const code = ask(m_dialect.result, &answer);
        if (!code || *code != 0)
            return code;
        std::size_t const sizeBytes = m_tpm.version == 1 ? 4 : 2;
        if (answer.size() < kHeader + sizeBytes)
            return nonsense(answer);
        std::size_t const data = numberAt(answer, kHeader, static_cast<int>(sizeBytes));
        if (m_tpm.version ==
            1) // its data are its maker's own; that it has failed is said by the self-test's code
            return data == answer.size() - kHeader - sizeBytes ? code : nonsense(answer);
        if (answer.size() != kHeader + sizeBytes + data + 4)
            return nonsense(answer);
        return numberAt(answer, kHeader + sizeBytes + data, 4);
    }

    TestHost& m_host;
    Tpm const& m_tpm;
    Dialect const m_dialect;
    double m_begin = 0;
    std::optional<Outcome> m_end;
};

} // namespace

Outcome runTpmTest(TestHost& host, Tpm const& tpm) { return TpmTest(host, tpm).run(); }

} // namespace krel5::modules::board
