#include <krel5/AlertType.h>
#include <krel5/ChildBusType.h>
#include <krel5/DataType.h>
#include <krel5/DeviceCapability.h>
#include <krel5/DeviceState.h>
#include <krel5/EventType.h>
#include <krel5/KrelUnitMagnitude.h>
#include <krel5/KrelUnitType.h>
#include <krel5/Language.h>
#include <krel5/OperatingSystem.h>
#include <krel5/ParameterSource.h>
#include <krel5/PropertyCategory.h>
#include <krel5/TestResult.h>
#include <krel5/TipType.h>

#include <zel/model/vocabulary/CapabilityImp.h>
#include <zel/model/vocabulary/OperatingSystemImp.h>
#include <zel/model/vocabulary/UnitMagnitude.h>

#include <gtest/gtest.h>

#include <string>

using namespace krel5;

namespace {

OperatingSystem linuxOf(int minor)
{
    return {OperatingSystemPlatform::LINUX(), OperatingSystemMajorVersion::LIN_2_6(),
            OperatingSystemDistribution::LIN_SUSE(),
            OperatingSystemMinorVersion(OperatingSystemPlatform::LINUX(), minor)};
}

// Two different values of each handle.
template <typename Handle>
struct Samples;

#define DECLARE_SAMPLES(Handle, firstValue, secondValue)                                                     \
    template <>                                                                                              \
    struct Samples<Handle>                                                                                   \
    {                                                                                                        \
        static Handle first() { return firstValue; }                                                         \
        static Handle second() { return secondValue; }                                                       \
    }

DECLARE_SAMPLES(KrelString, "one", "two");
DECLARE_SAMPLES(TestResult, TestResult::PASS(), TestResult::WARN());
DECLARE_SAMPLES(DeviceCapability, DeviceCapability::PCI(), DeviceCapability::USB());
DECLARE_SAMPLES(ChildBusType, ChildBusType::DISPLAY(), ChildBusType::OPERATINGSYSTEM());
DECLARE_SAMPLES(DeviceState, DeviceState::FUNCTIONAL(), DeviceState::OTHER());
DECLARE_SAMPLES(EventType, EventType::ERR(), EventType::WARNING());
DECLARE_SAMPLES(AlertType, AlertType::ALL(), AlertType::CRITICAL());
DECLARE_SAMPLES(TipType, TipType::TEXT_TIP(), TipType::URL_TIP());
DECLARE_SAMPLES(PropertyCategory, PropertyCategory::Key(), PropertyCategory::FRU());
DECLARE_SAMPLES(ParameterSource, ParameterSource::NOTSET(), ParameterSource::CLIENT());
DECLARE_SAMPLES(Language, Language::en(), Language::zh_cn());
DECLARE_SAMPLES(DataType, DataType::UINT32(), DataType::LOCALIZEDSTRINGARRAY());
DECLARE_SAMPLES(KrelUnitType, KrelUnitType::NOUNIT(), KrelUnitType::RPM());
DECLARE_SAMPLES(KrelUnitMagnitude, KrelUnitMagnitude::AUTOSCALEUNIT(), KrelUnitMagnitude::BASEUNIT());
DECLARE_SAMPLES(OperatingSystem, linuxOf(1), linuxOf(2));
DECLARE_SAMPLES(OperatingSystemPlatform, OperatingSystemPlatform::LINUX(),
                OperatingSystemPlatform::WINDOWS());
DECLARE_SAMPLES(OperatingSystemArchitecture, OperatingSystemArchitecture::X86_32(),
                OperatingSystemArchitecture::X86_64());
DECLARE_SAMPLES(OperatingSystemMajorVersion, OperatingSystemMajorVersion::LIN_2_4(),
                OperatingSystemMajorVersion::LIN_2_6());
DECLARE_SAMPLES(OperatingSystemMinorVersion, OperatingSystemMinorVersion(OperatingSystemPlatform::LINUX(), 1),
                OperatingSystemMinorVersion(OperatingSystemPlatform::WINDOWS(), 1));
DECLARE_SAMPLES(OperatingSystemDistribution, OperatingSystemDistribution::WIN_DATACENTER_SERVER(),
                OperatingSystemDistribution::WIN_SERVER_DATACENTER());

template <typename Handle>
struct HandleTest : testing::Test
{};
using Handles =
    testing::Types<KrelString, TestResult, DeviceCapability, ChildBusType, DeviceState, EventType, AlertType,
                   TipType, PropertyCategory, ParameterSource, Language, DataType, KrelUnitType,
                   KrelUnitMagnitude, OperatingSystem, OperatingSystemPlatform, OperatingSystemArchitecture,
                   OperatingSystemMajorVersion, OperatingSystemMinorVersion, OperatingSystemDistribution>;
TYPED_TEST_SUITE(HandleTest, Handles);

template <typename Handle>
void expectRow(Handle const& (*accessor)(), char const* text)
{
    Handle const& constant = accessor();
    EXPECT_EQ(constant.toString(), text);
    EXPECT_EQ(&accessor(), &constant) << text;
    EXPECT_EQ(Handle(constant.imp()), constant) << text;
}

} // namespace

TYPED_TEST(HandleTest, isOnePointerAndCopiesDeeply)
{
    EXPECT_EQ(sizeof(TypeParam), sizeof(void*));
    TypeParam const first = Samples<TypeParam>::first(), second = Samples<TypeParam>::second();
    EXPECT_TRUE(first == first);
    EXPECT_FALSE(first == second);
    EXPECT_TRUE(first != second);

    TypeParam copy(first);
    EXPECT_TRUE(copy == first);
    copy = second;
    EXPECT_TRUE(copy == second);
    EXPECT_TRUE(first == Samples<TypeParam>::first());
    TypeParam const& itself = copy;
    copy = itself;
    EXPECT_TRUE(copy == second);
    copy = TypeParam();
    EXPECT_TRUE(copy == TypeParam());
}

TEST(PublicVocabulary, everyAccessorGivesTheConstantOfItsText)
{
#define ZEL_CONSTANT(accessor, text, ...) expectRow(&DeviceCapability::accessor, text);
#include <zel/model/vocabulary/tables/Capability.def>
#define ZEL_CONSTANT(accessor, text, ...) expectRow(&ChildBusType::accessor, text);
#include <zel/model/vocabulary/tables/ChildBusType.def>
#define ZEL_CONSTANT(accessor, text) expectRow(&DeviceState::accessor, text);
#include <zel/model/vocabulary/tables/DeviceState.def>
#define ZEL_CONSTANT(accessor, text) expectRow(&EventType::accessor, text);
#include <zel/model/vocabulary/tables/EventType.def>
#define ZEL_CONSTANT(accessor, text) expectRow(&AlertType::accessor, text);
#include <zel/model/vocabulary/tables/AlertType.def>
#define ZEL_CONSTANT(accessor, text) expectRow(&TipType::accessor, text);
#include <zel/model/vocabulary/tables/TipType.def>
#define ZEL_CONSTANT(accessor, text) expectRow(&PropertyCategory::accessor, text);
#include <zel/model/vocabulary/tables/PropertyCategory.def>
#define ZEL_CONSTANT(accessor, text) expectRow(&ParameterSource::accessor, text);
#include <zel/model/vocabulary/tables/ParameterSource.def>
#define ZEL_CONSTANT(accessor, text, ...) expectRow(&Language::accessor, text);
#include <zel/model/vocabulary/tables/Language.def>
#define ZEL_CONSTANT(accessor, text) expectRow(&DataType::accessor, text);
#include <zel/model/vocabulary/tables/DataType.def>
#define ZEL_CONSTANT(accessor, text, ...) expectRow(&KrelUnitType::accessor, text);
#include <zel/model/vocabulary/tables/UnitType.def>
#define ZEL_CONSTANT(accessor, text, ten, two)                                                               \
    expectRow(&KrelUnitMagnitude::accessor, text);                                                           \
    EXPECT_EQ(KrelUnitMagnitude::accessor().imp().powerOfTen(), ten);                                        \
    EXPECT_EQ(KrelUnitMagnitude::accessor().imp().powerOfTwo(), two);
#include <zel/model/vocabulary/tables/UnitMagnitude.def>
#define ZEL_CONSTANT(accessor, text, code)                                                                   \
    expectRow(&OperatingSystemPlatform::accessor, text);                                                     \
    EXPECT_EQ(OperatingSystemPlatform::accessor().value(), code);
#include <zel/model/vocabulary/tables/OperatingSystemPlatform.def>
#define ZEL_CONSTANT(accessor, text, code, longer)                                                           \
    expectRow(&OperatingSystemArchitecture::accessor, text);                                                 \
    EXPECT_EQ(OperatingSystemArchitecture::accessor().value(), code);                                        \
    EXPECT_EQ(OperatingSystemArchitecture::accessor().longText(), longer);
#include <zel/model/vocabulary/tables/OperatingSystemArchitecture.def>
#define ZEL_CONSTANT(accessor, text, code, owner)                                                            \
    expectRow(&OperatingSystemMajorVersion::accessor, text);                                                 \
    EXPECT_EQ(OperatingSystemMajorVersion::accessor().value(), code);                                        \
    EXPECT_EQ(OperatingSystemMajorVersion::accessor().platform(), OperatingSystemPlatform::owner());
#include <zel/model/vocabulary/tables/OperatingSystemMajorVersion.def>
#define ZEL_CONSTANT(accessor, text, code, owner)                                                            \
    expectRow(&OperatingSystemDistribution::accessor, text);                                                 \
    EXPECT_EQ(OperatingSystemDistribution::accessor().value(), code);                                        \
    EXPECT_EQ(OperatingSystemDistribution::accessor().platform(), OperatingSystemPlatform::owner());
#include <zel/model/vocabulary/tables/OperatingSystemDistribution.def>
}

TEST(PublicVocabulary, defaultsAndUnknownNames)
{
    EXPECT_EQ(DeviceState(), DeviceState::FUNCTIONAL());
    EXPECT_EQ(EventType(), EventType::UNINITIALIZED());
    EXPECT_EQ(Language(), Language::nil());
    EXPECT_EQ(ParameterSource(), ParameterSource::NOTSET());
    EXPECT_EQ(KrelUnitMagnitude(), KrelUnitMagnitude::BASEUNIT());
    EXPECT_EQ(DeviceCapability(), DeviceCapability::NIL());
    EXPECT_EQ(DataType(KrelString("UINT64")), DataType::UINT64());
    EXPECT_EQ(DataType(KrelString("uint64")).toString(), "INVALID");
    EXPECT_EQ(KrelUnitType(KrelString("RPM")), KrelUnitType::RPM());
    EXPECT_EQ(KrelUnitMagnitude(KrelString("KILO")), KrelUnitMagnitude::KILO());
}

TEST(DeviceCapability, isASetBuiltWithOr)
{
    DeviceCapability both = DeviceCapability::USB() | DeviceCapability::PCI();
    EXPECT_EQ(both.toString(), "PCI, USB");
    EXPECT_EQ(both.numberOfElements(), 2u);
    EXPECT_TRUE(both.isCapable(DeviceCapability::PCI()) && both.isCapable(DeviceCapability::USB()));
    EXPECT_FALSE(both.isCapable(DeviceCapability::CPU()));
    EXPECT_EQ(DeviceCapability::USB().toString(), "USB"); // the constant is not changed

    both |= DeviceCapability("PS/2"); // a word of its own
    EXPECT_EQ(both.toString(), "PCI, USB, PS/2");
    EXPECT_EQ(both |= both, DeviceCapability("PS/2, USB, PCI"));
    EXPECT_EQ((both |= DeviceCapability::ALL()).toString(), "All");
    EXPECT_EQ(DeviceCapability("").numberOfElements(), 0u);
    EXPECT_FALSE(DeviceCapability::UnknownIcon().empty());
}

TEST(PropertyCategory, isASetBuiltWithOr)
{
    PropertyCategory link = PropertyCategory::Group();
    link |= PropertyCategory::LinkInFromDevice();
    EXPECT_EQ(link, PropertyCategory::LinkInFromDevice() | PropertyCategory::Group());
    EXPECT_TRUE(link.isCapable(PropertyCategory::Group()));
    EXPECT_FALSE(PropertyCategory::Group().isCapable(link));
    EXPECT_EQ(link.toString(), "Group, LinkInFromDevice");
}

TEST(OperatingSystem, handsOutItsParts)
{
    OperatingSystem const system = linuxOf(32);
    EXPECT_EQ(system.getPlatform(), OperatingSystemPlatform::LINUX());
    EXPECT_EQ(system.getArchitecture(), OperatingSystemArchitecture::ALL_ARCHITECTURES());
    EXPECT_EQ(system.getMajor(), OperatingSystemMajorVersion::LIN_2_6());
    EXPECT_EQ(system.getDistribution(), OperatingSystemDistribution::LIN_SUSE());
    EXPECT_EQ(system.getMinor().value(), 32);
    EXPECT_EQ(system.getMinor().toString(), "32");
    EXPECT_EQ(system.toString(), "Linux, Suse, 2.6, 32, All architectures");
    EXPECT_EQ(OperatingSystem::getCurrentOperatingSystem().getPlatform(), OperatingSystemPlatform::LINUX());
}
