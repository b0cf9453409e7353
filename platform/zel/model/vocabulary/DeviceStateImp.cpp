#include <zel/model/vocabulary/DeviceStateImp.h>

namespace zel {

static VocabularyRow const kRows[] = {
#define ZEL_CONSTANT(accessor, ...) {#accessor, __VA_ARGS__},
#include <zel/model/vocabulary/tables/DeviceState.def>
};

VocabularyTable const& DeviceStateImp::table()
{
    static VocabularyTable const& table = *new VocabularyTable(kRows);
    return table;
}

#define ZEL_CONSTANT(accessor, ...)                                                                          \
    DeviceStateImp const& DeviceStateImp::accessor()                                                         \
    {                                                                                                        \
        static constinit DeviceStateImp const constant(Code::accessor);                                      \
        return constant;                                                                                     \
    }
#include <zel/model/vocabulary/tables/DeviceState.def>

} // namespace zel
