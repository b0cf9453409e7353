#include <engine/commands/ReportCommands.h>

#include <engine/commands/Situation.h>
#include <engine/pages/Pages.h>
#include <engine/pages/Words.h>
#include <engine/report/ReportFolder.h>
#include <engine/report/ReportReader.h>

#include <listing/command/Console.h>
#include <listing/forms/Listing.h>

#include <zel/foundation/Exception.h>
#include <zel/foundation/FileSystem.h>

#include <filesystem>
#include <system_error>

namespace engine {

namespace fs = std::filesystem;

namespace {

struct Form
{
    char const* word;
    std::string (*page)(Session const&);
};

std::string textPage(Session const& session) { return text(session, listing::terminalWidth()); }
std::string jsonPage(Session const& session) { return json(session); }

constexpr Form kForms[] = {
    {"text", textPage}, {"html", html}, {"junit", junit}, {"json", jsonPage}, {"ocp", ocp}};

Form const& formOf(std::string const& word)
{
    for (Form const& form : kForms)
        if (word == form.word)
            return form;
    throw zel::InvalidArgumentException(
        zel::String("--to: no form is called \"" + word + "\"; there are " + pageForms()));
}

/// A page takes the place of what stands there: that may be an older page, but neither a device nor the report itself.
void requireReplaceable(ReportRequest const& request)
{
    std::error_code error;
    auto const there = fs::symlink_status(request.output, error);
    if (fs::exists(there) && !fs::is_regular_file(there))
        throw zel::InvalidArgumentException("--output: " + zel::String(request.output) + " is no file");
    if (fs::exists(there) && fs::equivalent(request.file, request.output, error))
        throw zel::InvalidArgumentException("--output: " + zel::String(request.output) +
                                            " is the report itself");
    std::string const folder = zel::FileSystem::folderOf(request.output);
    if (!zel::FileSystem::exists(folder))
        throw zel::InvalidArgumentException("--output: there is no folder \"" + zel::String(folder) +
                                            "\" for " + zel::String(request.output));
}

} // namespace

std::string pageForms()
{
    std::string words;
    for (Form const& form : kForms)
        words += (words.empty() ? "" : ", ") + std::string(form.word);
    return words;
}

int writeReport(ReportRequest const& request)
{
    Form const& form = formOf(request.to);
    if (!request.output.empty())
        requireReplaceable(request);
    Session const session = readReport(request.file);
    for (std::string const& sentence : damageOf(session))
        listing::complain(sentence);
    std::string const page = form.page(session);
    bool isWritten = true;
    if (request.output.empty())
        isWritten = listing::printed(page);
    else
        zel::FileSystem::writeFileAtomically(request.output, page);
    return isWritten && session.damage.empty() ? kDone : kTrouble;
}

int showLast(bool asJson)
{
    ReportFolder const folder = ReportFolder::own();
    std::optional<std::string> const newest = folder.newest();
    if (!newest) {
        listing::complain("there is no report in " + folder.path() +
                          (folder.base == "/var/log"
                               ? ""
                               : "; those of root are in /var/log/krel5: sudo krel5-engine last"));
        return kTrouble;
    }
    if (!zel::FileSystem::exists(*newest)) {
        listing::complain("the report of the last session is not there any more: " +
                          listing::harmless(*newest));
        return kTrouble;
    }
    Session const session = readReport(*newest);
    MachineStart const now = MachineStart::current();
    bool const isWritten = listing::printed(asJson ? json(session, now)
                                                   : text(session, listing::terminalWidth(), now) +
                                                         "\nReport: " + listing::harmless(*newest) + "\n");
    return isWritten && session.damage.empty() ? kDone : kTrouble;
}

} // namespace engine
