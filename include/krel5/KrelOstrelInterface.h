#pragma once
// Conversions for a client that lives in the process of a module.
//
//     Value disks(DataType::STRINGARRAY());
//     disks.append("sda");
//     zel::Array<zel::String> const names = KrelOstrelInterface::makeStringArrayFromValue(disks);
//     CArray<KrelString> const copies = KrelOstrelInterface::makeKrelStringCArray(names);
//
// Thread rule: any thread.

#include <krel5/CArray.h>
#include <krel5/Export.h>
#include <krel5/KrelString.h>

#include <zel/foundation/Array.h>
#include <zel/foundation/String.h>

namespace krel5 {

class Value;

class KREL5_EXPORT KrelOstrelInterface
{
public:
    /// The elements of a STRINGARRAY, or a STRING as the only one. Throws TypeMismatchException for any other value.
    static zel::Array<zel::String> makeStringArrayFromValue(Value const& value);
    /// The same texts, in the same order.
    static CArray<KrelString> makeKrelStringCArray(zel::Array<zel::String> const& strings);

    /// There is nothing to assign; part of what the library exports.
    KrelOstrelInterface& operator=(KrelOstrelInterface const& other);
};

} // namespace krel5
