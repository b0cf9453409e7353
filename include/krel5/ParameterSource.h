#pragma once
// Where the value of a test parameter came from.
//
//     bool isSet = parameter->valueSource() != ParameterSource::NOTSET();
//
// Thread rule: one handle is not used from two threads at once; the constants may be read from any thread.

#include <krel5/DataHolder.h>
#include <krel5/Export.h>
#include <krel5/KrelString.h>

namespace zel {
class ParameterSourceImp;
}

namespace krel5 {

struct ParameterSourceInternalData;

class KREL5_EXPORT ParameterSource
{
public:
    /// The constants, one an entry of the included table, which reads as a list: the accessor's name, the
    /// text, and declared numbers where there are any. Made on the first call and never destroyed; each call
    /// returns the same object.
#define ZEL_CONSTANT(accessor, ...) static ParameterSource const& accessor();
#include <zel/model/vocabulary/tables/ParameterSource.def>

    /// NOTSET.
    ParameterSource();
    /// Wraps a constant of the model; for the library's own use.
    explicit ParameterSource(zel::ParameterSourceImp const& constant);
    ParameterSource(ParameterSource const& other);
    ParameterSource& operator=(ParameterSource const& other);
    ~ParameterSource();

    /// Compare the constants, not the texts.
    bool operator==(ParameterSource const& other) const;
    bool operator!=(ParameterSource const& other) const;

    /// The text; lives as long as the handle and is the same until the handle is assigned.
    KrelString const& toString() const;
    /// The model's constant; for the library's own use. Lives as long as the handle.
    zel::ParameterSourceImp const& imp() const;

private:
    explicit ParameterSource(KrelString const& text);

    ParameterSourceInternalData& data();
    ParameterSourceInternalData const& data() const;

    DataHolder<ParameterSourceInternalData> m_holder;
};

} // namespace krel5
