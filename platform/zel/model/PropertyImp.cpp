#include <zel/model/PropertyImp.h>

namespace zel {

PropertyImp::PropertyImp(std::shared_ptr<PropertySpecImp> spec)
    : m_spec(std::move(spec)), m_value(m_spec->type()), m_specGuid(m_spec->guid())
{}

PropertyImp::PropertyImp(std::shared_ptr<PropertySpecImp> spec, ValueImp value)
    : m_spec(std::move(spec)), m_value(std::move(value)), m_specGuid(m_spec->guid())
{}

} // namespace zel
