#include <zel/model/module/ModuleImp.h>

#include <algorithm>

namespace zel {

void ModuleImp::addOnce(std::vector<String>& list, String const& name)
{
    if (std::find(list.begin(), list.end(), name) == list.end())
        list.push_back(name);
}

} // namespace zel
