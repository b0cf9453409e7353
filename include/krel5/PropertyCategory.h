#pragma once
// What a device property is for: a set of categories, built up with `|`.
//
//     PropertyCategory category = PropertyCategory::FRU() | PropertyCategory::Key();
//
// Thread rule: one handle is not used from two threads at once; the constants may be read from any thread.

#include <krel5/DataHolder.h>
#include <krel5/Export.h>
#include <krel5/KrelString.h>

namespace zel {
class PropertyCategoryImp;
}

namespace krel5 {

struct PropertyCategoryInternalData;

class KREL5_EXPORT PropertyCategory
{
public:
    /// The constants, one an entry of the included table, which reads as a list: the accessor's name, the
    /// text, and declared numbers where there are any. Made on the first call and never destroyed; each call
    /// returns the same object.
#define ZEL_CONSTANT(accessor, ...) static PropertyCategory const& accessor();
#include <zel/model/vocabulary/tables/PropertyCategory.def>

    /// The empty set, with the text "".
    PropertyCategory();
    /// Wraps a constant of the model; for the library's own use.
    explicit PropertyCategory(zel::PropertyCategoryImp const& constant);
    PropertyCategory(PropertyCategory const& other);
    PropertyCategory& operator=(PropertyCategory const& other);
    ~PropertyCategory();

    /// The union of two sets; with ALL it is ALL.
    PropertyCategory operator|(PropertyCategory const& other) const;
    PropertyCategory& operator|=(PropertyCategory const& other);
    /// Whether every category of `other` is in this set; ALL is capable of everything, everything of the
    /// empty set.
    bool isCapable(PropertyCategory const& other) const;

    /// Compare the sets.
    bool operator==(PropertyCategory const& other) const;
    bool operator!=(PropertyCategory const& other) const;

    /// The text; lives as long as the handle and is the same until the handle is assigned.
    KrelString const& toString() const;
    /// The model's constant; for the library's own use. Lives as long as the handle.
    zel::PropertyCategoryImp const& imp() const;

private:
    explicit PropertyCategory(KrelString const& text);

    PropertyCategoryInternalData& data();
    PropertyCategoryInternalData const& data() const;

    DataHolder<PropertyCategoryInternalData> m_holder;
};

} // namespace krel5
