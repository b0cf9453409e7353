#pragma once
// The type of a value.
//
//     DiagModule::createParameter("loops", DataType::UINT32(), "10", false);
//
// Thread rule: one handle is not used from two threads at once; the constants may be read from any thread.

#include <krel5/DataHolder.h>
#include <krel5/Export.h>
#include <krel5/KrelString.h>

namespace zel {
class DataTypeImp;
}

namespace krel5 {

struct DataTypeInternalData;

class KREL5_EXPORT DataType
{
public:
    /// The constants, one an entry of the included table, which reads as a list: the accessor's name, the
    /// text, and declared numbers where there are any. Made on the first call and never destroyed; each call
    /// returns the same object.
#define ZEL_CONSTANT(accessor, ...) static DataType const& accessor();
#include <zel/model/vocabulary/tables/DataType.def>

    /// A type outside the table, with the text "INVALID".
    DataType();
    /// The type of a name; a name that is in no row gives the type with the text "INVALID".
    explicit DataType(KrelString const& name);
    /// Wraps a constant of the model; for the library's own use.
    explicit DataType(zel::DataTypeImp const& constant);
    DataType(DataType const& other);
    DataType& operator=(DataType const& other);
    ~DataType();

    /// Compare the constants, not the texts.
    bool operator==(DataType const& other) const;
    bool operator!=(DataType const& other) const;

    /// The text; lives as long as the handle and is the same until the handle is assigned.
    KrelString const& toString() const;
    /// The model's constant; for the library's own use. Lives as long as the handle.
    zel::DataTypeImp const& imp() const;

private:
    DataTypeInternalData& data();
    DataTypeInternalData const& data() const;

    DataHolder<DataTypeInternalData> m_holder;
};

} // namespace krel5
