#pragma once
// The options of the commands that show devices, wherever such a command stands.

#include <listing/command/DevicesCommand.h>

#include <string>

namespace CLI {
class App;
}

namespace listing {

/// Words on the command line become a request. REQUIRES: the object outlives the parsing.
class DevicesOptions
{
public:
    explicit DevicesOptions(DevicesRequest& request) : m_request(request) {}

    /// Options and help of the listing and of the comparison.
    void addListing(CLI::App& app);
    void addCompare(CLI::App& app);

    // After parsing: they complete the request and say what no option can say alone, empty when there is nothing.
    std::string finishListing(CLI::App const& app);
    std::string finishCompare(CLI::App const& app);

private:
    void addCommon(CLI::App& app);

    DevicesRequest& m_request;
    bool m_verbose = false, m_json = false, m_xml = false, m_html = false;
};

} // namespace listing
