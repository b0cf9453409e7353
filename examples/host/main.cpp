// A client that hosts an indicator module in a thread of its own, and keeps its process for itself: signals, exit status and
// all. Until Ctrl-C or SIGTERM it shows what it hears.
#include <krel5/DeviceProperty.h>
#include <krel5/DiagDevice.h>
#include <krel5/IndicatorClient.h>
#include <krel5/TestResult.h>
#include <krel5/Value.h>

#include <csignal>
#include <cstdio>
#include <thread>
#include <vector>

using namespace krel5;

int moduleMain(int argc, char** argv); // module.cpp

static volatile std::sig_atomic_t s_signal = 0;

static void showReadings(IndicatorReport const& report)
{
    for (unsigned int i = 0; i < report.readingCount(); ++i)
        std::printf("%s: %s = %s\n", report.deviceAtIndex(0).name().getUTF8Buffer(),
                    report.readingAtIndex(i).key().getUTF8Buffer(),
                    report.readingAtIndex(i).value().toString().getUTF8Buffer());
}

static void showChanges(IndicatorReport const& report)
{
    for (unsigned int i = 0; i < report.deviceCount(); ++i)
        std::printf("device %s\n", report.deviceAtIndex(i).name().getUTF8Buffer());
    for (unsigned int i = 0; i < report.alertCount(); ++i)
        std::printf("ALERT %s: %s\n", report.alertTitleAtIndex(i).getUTF8Buffer(),
                    report.alertMessageAtIndex(i).getUTF8Buffer());
    for (unsigned int i = 0; i < report.changeCount(); ++i)
        if (report.changeAtIndex(i) == IndicatorReport::Change::AlertRemoved)
            std::printf("an alert is over\n");
}

/// False: it is the last one.
static bool show(IndicatorReport const& report)
{
    switch (report.kind()) {
    case IndicatorReport::Kind::Readings:
        showReadings(report);
        break;
    case IndicatorReport::Kind::Changes:
    case IndicatorReport::Kind::Listing:
        showChanges(report);
        break;
    case IndicatorReport::Kind::Refused:
        std::printf("refused: %s\n", report.text().getUTF8Buffer());
        break;
    case IndicatorReport::Kind::Lost:
        std::printf("%llu readings were lost\n", report.lostCount());
        break;
    case IndicatorReport::Kind::Ended:
        return false;
    case IndicatorReport::Kind::Nothing:
        break;
    }
    std::fflush(stdout);
    return true;
}

int main(int argc, char** argv)
{
    std::signal(SIGINT, [](int number) { s_signal = number; });
    std::signal(SIGTERM, [](int number) { s_signal = number; });
    std::vector<char const*> words(argv, argv + argc);
    words.push_back("run");

    IndicatorClient client;
    int status = -1;
    std::thread host([&words, &status] {
        status = IndicatorClient::runModule(moduleMain, static_cast<int>(words.size()), words.data());
    });
    client.setUpdateInterval(1);
    client.watch();
    bool isAsked = false;
    while (show(client.receive(200)))
        if (s_signal != 0 && !isAsked)
            isAsked = client.stop();
    host.join();
    std::printf("the module ended with %d\n", status);
    return status == TestResult::PASS().value() ? 0 : 1;
}
