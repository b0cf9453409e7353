#pragma once
// Fault classes of the literature as fault primitives (notation: FaultyMemory.h). Names: MarchTest.h.

#include <string>
#include <vector>

namespace krel5::modules::memory::test {

/// Each fault is one primitive, or several joined by '&' that act on the same cells.
struct FaultClass
{
    char const* m_name;
    std::vector<std::string> m_faults;
};

/// `single` under each state of an aggressor.
inline FaultClass coupled(char const* name, FaultClass const& single)
{
    FaultClass result{name, {}};
    for (auto const& primitive : single.m_faults) {
        for (char const* state : {"<0;", "<1;"})
            result.m_faults.push_back(state + primitive.substr(1));
    }
    return result;
}

inline FaultClass const kStuckAt{"SAF stuck-at", {"<1/0/->", "<0/1/->"}};
inline FaultClass const kTransition{"TF transition", {"<0w1/0/->", "<1w0/1/->"}};
inline FaultClass const kWriteDisturb{"WDF write disturb", {"<0w0/1/->", "<1w1/0/->"}};
inline FaultClass const kReadDestructive{"RDF read destructive", {"<0r/1/1>", "<1r/0/0>"}};
inline FaultClass const kDeceptiveRead{"DRDF deceptive read destructive", {"<0r/1/0>", "<1r/0/1>"}};
inline FaultClass const kIncorrectRead{"IRF incorrect read", {"<0r/0/1>", "<1r/1/0>"}};

inline FaultClass const kInversion{"CFin inversion", {"<0w1;0/1/->&<0w1;1/0/->", "<1w0;0/1/->&<1w0;1/0/->"}};
inline FaultClass const kIdempotent{"CFid idempotent",
                                    {"<0w1;0/1/->", "<0w1;1/0/->", "<1w0;0/1/->", "<1w0;1/0/->"}};
inline FaultClass const kState{"CFst state", {"<0;0/1/->", "<0;1/0/->", "<1;0/1/->", "<1;1/0/->"}};
inline FaultClass const kDisturb{"CFds disturb (read, same value)",
                                 {"<0r;0/1/->", "<0r;1/0/->", "<1r;0/1/->", "<1r;1/0/->", "<0w0;0/1/->",
                                  "<0w0;1/0/->", "<1w1;0/1/->", "<1w1;1/0/->"}};
inline FaultClass const kCoupledTransition = coupled("CFtr transition", kTransition);
inline FaultClass const kCoupledWriteDisturb = coupled("CFwd write destructive", kWriteDisturb);
inline FaultClass const kCoupledRead = coupled("CFrd read destructive", kReadDestructive);
inline FaultClass const kCoupledDeceptive = coupled("CFdrd deceptive read", kDeceptiveRead);
inline FaultClass const kCoupledIncorrect = coupled("CFir incorrect read", kIncorrectRead);

inline FaultClass const kDynamicRead{"dRDF", {"<0w0r/1/1>", "<0w1r/0/0>", "<1w0r/1/1>", "<1w1r/0/0>"}};
inline FaultClass const kDynamicDeceptive{"dDRDF", {"<0w0r/1/0>", "<0w1r/0/1>", "<1w0r/1/0>", "<1w1r/0/1>"}};
inline FaultClass const kDynamicIncorrect{"dIRF", {"<0w0r/0/1>", "<0w1r/1/0>", "<1w0r/0/1>", "<1w1r/1/0>"}};
inline FaultClass const kDynamicDisturb{"dCFds",
                                        {"<0w0r;0/1/->", "<0w0r;1/0/->", "<0w1r;0/1/->", "<0w1r;1/0/->",
                                         "<1w0r;0/1/->", "<1w0r;1/0/->", "<1w1r;0/1/->", "<1w1r;1/0/->"}};
inline FaultClass const kCoupledDynamicRead = coupled("dCFrd", kDynamicRead);
inline FaultClass const kCoupledDynamicDeceptive = coupled("dCFdrd", kDynamicDeceptive);
inline FaultClass const kCoupledDynamicIncorrect = coupled("dCFir", kDynamicIncorrect);

inline FaultClass const kDynamicWrite{"dTF, dWDF two writes",
                                      {"<0w0w0/1/->", "<0w0w1/0/->", "<0w1w0/1/->", "<0w1w1/0/->",
                                       "<1w0w0/1/->", "<1w0w1/0/->", "<1w1w0/1/->", "<1w1w1/0/->"}};
inline FaultClass const kCoupledDynamicWrite = coupled("dCFtr, dCFwd two writes", kDynamicWrite);
inline FaultClass const kDynamicWriteDisturb{
    "dCFds two writes",
    {"<0w0w0;0/1/->", "<0w0w0;1/0/->", "<0w0w1;0/1/->", "<0w0w1;1/0/->", "<0w1w0;0/1/->", "<0w1w0;1/0/->",
     "<0w1w1;0/1/->", "<0w1w1;1/0/->", "<1w0w0;0/1/->", "<1w0w0;1/0/->", "<1w0w1;0/1/->", "<1w0w1;1/0/->",
     "<1w1w0;0/1/->", "<1w1w0;1/0/->", "<1w1w1;0/1/->", "<1w1w1;1/0/->"}};

} // namespace krel5::modules::memory::test
