#include <krel5/KrelOstrelInterface.h>

#include <krel5/Value.h>

namespace krel5 {

zel::Array<zel::String> KrelOstrelInterface::makeStringArrayFromValue(Value const& value)
{
    zel::Array<zel::String> strings;
    if (value.type() == DataType::STRING()) {
        strings.append(value.valueString().zelString());
        return strings;
    }
    unsigned int const size = value.stringArraySize(); // refuses what has no strings
    for (unsigned int i = 0; i < size; ++i)
        strings.append(value.getStringInArray(i).zelString());
    return strings;
}

CArray<KrelString> KrelOstrelInterface::makeKrelStringCArray(zel::Array<zel::String> const& strings)
{
    CArray<KrelString> array(static_cast<unsigned int>(strings.size()));
    unsigned int i = 0;
    for (zel::String const& one : strings)
        array[i++] = KrelString(one);
    return array;
}

KrelOstrelInterface& KrelOstrelInterface::operator=(KrelOstrelInterface const&) = default;

} // namespace krel5
