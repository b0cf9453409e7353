#pragma once
// A client that has an indicator module in its own process: it hosts the module in a thread of its own, says what is watched,
// and hears what is read, what comes and goes and which alerts there are.
//
//     int moduleMain(int argc, char** argv); // what would be the module's main
//
//     void watchForAMinute()
//     {
//         IndicatorClient client;
//         std::thread host([] {
//             char const* const words[] = {"load", "run"};
//             IndicatorClient::runModule(moduleMain, 2, words);
//         });
//         if (client.waitUntilReady(60000) && client.watch())
//             for (int i = 0; i < 60; ++i)
//                 show(client.receive(1000));
//         client.stop();
//         host.join();
//     }
//
// The process stays the client's: the library takes no signal, terminate or fault handler, no standard stream, and never ends
// it. What the module comes to is the status that runModule() returns, and that the last report carries. A process hosts
// one module, once: what a module registers lives as long as the process. Its log file is that of any module.
//
// Neither side waits for the other. What a client does not fetch is bounded: of readings the newest 8192 stay, 16 MiB at most,
// and a report says how many went; of changes it gets the net; of listings the newest.
//
// Thread rule: requests may be made from any thread; reports are fetched by one thread at a time. The client is there from its
// construction until its destruction, or the end of the thread that made it: then a module at work ends, too, with PASS.

#include <krel5/Export.h>
#include <krel5/IndicatorReport.h>
#include <krel5/KrelString.h>

namespace krel5 {

class KREL5_EXPORT IndicatorClient
{
public:
    static constexpr unsigned int kForever = 0xFFFFFFFFu; ///< milliseconds

    /// Made before the module is started. Throws InvalidCreationException when this process has another client, or the module of
    /// an earlier one has not ended yet.
    IndicatorClient();
    ~IndicatorClient();
    IndicatorClient(IndicatorClient const&) = delete;
    IndicatorClient& operator=(IndicatorClient const&) = delete;

    /// Calls what would be the module's main, in the calling thread, and returns what it returns. `argv` is what a shell would
    /// give the module, its name first; "-dl", which says that it is hosted, is added. An exception that leaves it, like words
    /// that make a module speak to somebody else ("-e", "-x") and a module that is hosted already, gives INTERNALERROR, told on
    /// standard error. REQUIRES: `moduleMain` returns what IndicatorModule::start() returns.
    static int runModule(int (*moduleMain)(int argc, char** argv), int argc, char const* const argv[]);

    /// Waits until the module has found its devices and takes requests. False when that takes longer, or the module has ended:
    /// receive() then says with which status.
    bool waitUntilReady(unsigned int milliseconds);

    // ---- requests
    //
    // Handed over, and done by the module between two passes, within a fraction of a second unless an indicator takes its time. False:
    // the module has ended, or 1024 requests wait already. A device is named by its guid (IndicatorReport::deviceGuidAtIndex), an indicator by
    // its key; an empty text means all of them. What cannot be done comes back as a report of the kind Refused.

    /// From now on the indicator looks at the device, in its interval. Without a device it looks at those that come later, too.
    bool watch(KrelString const& device = KrelString(), KrelString const& indicator = KrelString());
    /// The device is looked at now. Of what is not watched, and without a device, the request is refused.
    bool requestUpdate(KrelString const& device, KrelString const& indicator = KrelString());
    /// Seconds between two readings, from 0 (each pass, about seven a second) on. Without both texts it is for what is watched later, too.
    bool setUpdateInterval(double seconds, KrelString const& device = KrelString(),
                           KrelString const& indicator = KrelString());
    /// A report of the kind Listing follows. Of several unread ones only the last is kept.
    bool requestListing();
    /// The module ends, with PASS, when the call that is under way returns. Goes before all other requests.
    bool stop();

    // ---- reports

    /// The next report; of the kind Nothing when none comes in that time, and Ended, each time, behind the last one.
    IndicatorReport receive(unsigned int milliseconds);

private:
    unsigned long long m_number;
};

} // namespace krel5
