// What the enumerator can tell stands in every form of a listing, whatever fact it is.
#include <listing/forms/Listing.h>
#include <listing/saved/SavedListing.h>

#include <zel/enumerator/records/Properties.h>

#include <gtest/gtest.h>

namespace listing::test {

namespace {

using namespace zel;

/// One of that type, different for each number.
ValueImp valueOf(DataTypeImp const& type, unsigned number)
{
    switch (type.code()) {
    case DataTypeImp::Code::UINT32:
        return ValueImp(number);
    case DataTypeImp::Code::INT32:
        return ValueImp(-static_cast<int>(number));
    case DataTypeImp::Code::UINT64:
        return ValueImp(std::uint64_t{number} << 33);
    case DataTypeImp::Code::DOUBLE:
    case DataTypeImp::Code::PERCENT:
        return ValueImp(number + 0.5, type);
    case DataTypeImp::Code::BOOLEAN:
        return ValueImp(number % 2 == 0);
    case DataTypeImp::Code::UINT32ARRAY:
        return ValueImp(std::vector<unsigned>{number, number + 1});
    case DataTypeImp::Code::STRINGARRAY:
        return ValueImp(std::vector<String>{"a" + String::number(number), "b"});
    case DataTypeImp::Code::DISCRETEMEASUREMENT:
        return ValueImp(DiscreteMeasurement(UnitType::BYTES(), 1000003ull * number));
    case DataTypeImp::Code::NONDISCRETEMEASUREMENT:
        return ValueImp(
            NonDiscreteMeasurement(UnitType::VOLTS(), number + 0.25, UnitMagnitude::BASEUNIT(), 2));
    default:
        return ValueImp("text " + String::number(number));
    }
}

bool holds(std::string const& text, std::string const& piece)
{
    return text.find(piece) != std::string::npos;
}

} // namespace

TEST(Listings, EveryFactStandsInTextXmlAndJsonWithItsUnitAndCategory)
{
    Machine machine;
    machine.devices.emplace_back().type = CapabilityImp::System();
    std::vector<Property>& all = machine.devices[0].properties;
    for (PropertyRow const& row : propertyRows())
        all.push_back({row.specification(), valueOf(row.type(), 100 + static_cast<unsigned>(all.size()))});
    std::string const shown = text(machine), document = xml(machine), saved = json(machine);
    Machine const again = readSaved(saved, "test");
    ASSERT_EQ(again.devices.size(), 1u);
    EXPECT_EQ(again.devices[0].properties.size(), all.size());
    for (Property const& one : all) {
        std::string const key = one.key().toUtf8(), value = one.value.toString().toUtf8();
        EXPECT_TRUE(holds(shown, "\n    " + one.name().toUtf8() + ": " + value + "\n")) << key;
        EXPECT_TRUE(holds(document, "<Property key=\"" + key + "\" type=\"" +
                                        one.value.type().toString().toUtf8() + "\" name=\"" +
                                        one.name().toUtf8() + "\">" + value + "</Property>"))
            << key;
        EXPECT_TRUE(holds(saved, "\"" + key + "\": {")) << key;
        Property const* const read = again.devices[0].property(one.key());
        ASSERT_NE(read, nullptr) << key;
        EXPECT_EQ(read->value.toString(), one.value.toString()) << key;
        EXPECT_EQ(read->isVolatile(), one.isVolatile()) << key;
        EXPECT_EQ(read->isIdentifying(), one.isIdentifying()) << key;
    }
}

} // namespace listing::test
