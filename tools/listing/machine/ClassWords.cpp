#include <listing/machine/ClassWords.h>

#include <zel/enumerator/sensors/SensorTypes.h>
#include <zel/foundation/Exception.h>
#include <zel/foundation/Spelling.h>

namespace listing {

using namespace zel;

namespace {

std::vector<String> words()
{
    std::vector<String> all;
    VocabularyTable const& table = CapabilityImp::table();
    for (std::size_t row = 0; row < table.size(); ++row)
        if (row != std::size_t(CapabilityImp::Code::NIL) && row != std::size_t(CapabilityImp::Code::INVALID))
            all.push_back(table.text(static_cast<int>(row)));
    for (CapabilityImp const& type :
         {sensor::powerSensor(), sensor::currentSensor(), sensor::energySensor(), sensor::humiditySensor()})
        all.push_back(type.toString());
    return all;
}

} // namespace

CapabilityImp classNamed(String const& word)
{
    std::vector<String> const known = words();
    for (String const& one : known)
        if (one.lowered() == word.lowered())
            return CapabilityImp(one);
    std::vector<String> const meant = nearestSpellings(word, known);
    throw InvalidArgumentException("there is no class \"" + word + "\"" +
                                   (meant.empty() ? String() : "; did you mean \"" + meant.front() + "\"?"));
}

} // namespace listing
