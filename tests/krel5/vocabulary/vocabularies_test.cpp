#include <krel5/KrelString.h>
#include <krel5/OperatingSystem.h>

#include <libKrel5/vocabulary/Handles.h>

#include <gtest/gtest.h>

using namespace krel5;

namespace {

OperatingSystem linuxOf(int minor)
{
    return {OperatingSystemPlatform::LINUX(), OperatingSystemMajorVersion::LIN_2_6(),
            OperatingSystemDistribution::LIN_SUSE(),
            OperatingSystemMinorVersion(OperatingSystemPlatform::LINUX(), minor)};
}

// `first` and `second` differ.
template <typename Handle>
void expectOnePointerThatCopiesDeeply(Handle const& first, Handle const& second)
{
    EXPECT_EQ(sizeof(Handle), sizeof(void*));
    EXPECT_TRUE(first == first);
    EXPECT_FALSE(first == second);
    EXPECT_TRUE(first != second);

    Handle copy(first);
    EXPECT_TRUE(copy == first);
    Handle const copyOfCopy(copy);
    copy = second;
    EXPECT_TRUE(copy == second);
    EXPECT_TRUE(copyOfCopy == first);
    EXPECT_FALSE(first == second);
    Handle const& itself = copy;
    copy = itself;
    EXPECT_TRUE(copy == second);
    copy = Handle();
    EXPECT_TRUE(copy == Handle());
}

template <typename Handle, typename Model>
void expectHandle()
{
    using Code = typename Model::Code;
    expectOnePointerThatCopiesDeeply(Handle(Model(Code(0))), Handle(Model(Code(1))));
    EXPECT_TRUE(Handle().imp() == Model());
    EXPECT_EQ(Handle().toString().zelString(), Model().toString());
}

// A public constant is made from what its row says, the model's from the row's place: both mean one constant.
template <typename Handle, typename Model>
void expectConstant(Handle const& (*accessor)(), Model const& (*modelAccessor)(), char const* text)
{
    SCOPED_TRACE(text);
    Handle const& constant = accessor();
    EXPECT_EQ(constant.toString(), text);
    EXPECT_EQ(&accessor(), &constant);
    EXPECT_TRUE(constant.imp() == modelAccessor());
    EXPECT_EQ(&modelAccessor(), &modelAccessor());
    EXPECT_TRUE(Handle(constant.imp()) == constant);
}

// What handles with numbers of their own say of every row of the model.
template <typename Handle, typename Model, typename Check>
void forEachRow(Check check)
{
    for (int row = 0; row < Model::count(); ++row) {
        Model const model(static_cast<typename Model::Code>(row));
        SCOPED_TRACE(model.toString().toUtf8());
        check(Handle(model), model);
    }
}

} // namespace

TEST(PublicVocabulary, everyConstantIsTheModelsOfThatName){
#define KREL5_EACH_HANDLE <krel5/vocabulary/EachHandle.inc>
#include <libKrel5/vocabulary/Handles.def>
}

TEST(PublicVocabulary, constantsWithEqualTextsOrNumbersStayTwo)
{
    expectOnePointerThatCopiesDeeply(ChildBusType::DISPLAY(), ChildBusType::OPERATINGSYSTEM());
    expectOnePointerThatCopiesDeeply(KrelUnitMagnitude::AUTOSCALEUNIT(), KrelUnitMagnitude::BASEUNIT());
    expectOnePointerThatCopiesDeeply(OperatingSystemDistribution::WIN_DATACENTER_SERVER(),
                                     OperatingSystemDistribution::WIN_SERVER_DATACENTER());
}

TEST(PublicVocabulary, handlesWithoutATableCopyDeeplyToo)
{
    expectOnePointerThatCopiesDeeply(KrelString("one"), KrelString("two"));
    expectOnePointerThatCopiesDeeply(linuxOf(1), linuxOf(2));
    expectOnePointerThatCopiesDeeply(OperatingSystemMinorVersion(OperatingSystemPlatform::LINUX(), 1),
                                     OperatingSystemMinorVersion(OperatingSystemPlatform::WINDOWS(), 1));
}

TEST(PublicVocabulary, numbersAreTheModels)
{
    auto const sameValue = [](auto const& handle, auto const& model) {
        EXPECT_EQ(handle.value(), model.value());
    };
    auto const sameValueAndPlatform = [](auto const& handle, auto const& model) {
        EXPECT_EQ(handle.value(), model.value());
        EXPECT_EQ(handle.platform(), OperatingSystemPlatform(model.platform()));
    };
    forEachRow<OperatingSystemPlatform, zel::OperatingSystemPlatformImp>(sameValue);
    forEachRow<OperatingSystemArchitecture, zel::OperatingSystemArchitectureImp>(sameValue);
    forEachRow<OperatingSystemMajorVersion, zel::OperatingSystemMajorVersionImp>(sameValueAndPlatform);
    forEachRow<OperatingSystemDistribution, zel::OperatingSystemDistributionImp>(sameValueAndPlatform);
    EXPECT_EQ(OperatingSystemDistribution::LIN_SUSE().value(), 35);
    EXPECT_EQ(OperatingSystemMajorVersion::ALL_MAJORS().value(), -1);
    EXPECT_EQ(OperatingSystemArchitecture::X86_64().longText(), "x86 64-bit");
    EXPECT_EQ(OperatingSystemArchitecture::ALL_ARCHITECTURES().longText(), "All architectures");
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
