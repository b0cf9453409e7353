// Fields as DSP0134 lays them out: a row is offset, name, and how the bytes there are said.
#include <zel/enumerator/firmware/SmbiosFields.h>

#include <zel/enumerator/firmware/SmbiosSayings.h>

#include <span>

namespace zel::smbios {

namespace {

struct Field
{
    std::size_t m_offset;
    char const* m_name;
    Say m_say; ///< gives an empty text for what is not to be said
};

constexpr Field kBios[] = {
    {0x04, "Maker", asText},
    {0x05, "Version", asText},
    {0x06, "Segment", asHexadecimal<2>},
    {0x08, "Date", asText},
    {0x09, "Size", romSize},
    {0x14, "Release", release},
    {0x16, "Embedded controller", release},
    {0x0A, "Supports", biosCharacteristics},
    {0x12, "And", asFlags<kBiosExtension1, 1>},
    {0x13, "And", asFlags<kBiosExtension2, 1>},
};
constexpr Field kSystem[] = {
    {0x04, "Maker", asText},
    {0x05, "Product", asText},
    {0x06, "Version", asText},
    {0x07, "Serial number", asText},
    {0x18, "Switched on by", asName<kWakeUps>},
    {0x19, "SKU", asText},
    {0x1A, "Family", asText},
};
constexpr Field kBoard[] = {
    {0x04, "Maker", asText},
    {0x05, "Product", asText},
    {0x06, "Version", asText},
    {0x07, "Serial number", asText},
    {0x08, "Asset tag", asText},
    {0x0D, "Kind", asName<kBoardTypes>},
    {0x09, "Is", asFlags<kBoardFeatures, 1>},
    {0x0A, "Place in the chassis", asText},
    {0x0B, "Chassis", asHandle},
};
constexpr Field kChassis[] = {
    {0x04, "Maker", asText},
    {0x05, "Kind", chassisType},
    {0x05, "Locked", asTruth<0x80>},
    {0x06, "Version", asText},
    {0x07, "Serial number", asText},
    {0x08, "Asset tag", asText},
    {0x09, "State at start", asName<kStates>},
    {0x0A, "State of the power supplies", asName<kStates>},
    {0x0B, "State of temperature", asName<kStates>},
    {0x0C, "Security", asName<kChassisSecurity>},
    {0x11, "Height", asNumber<1, 0, kHeightUnits>},
    {0x12, "Power cords", asCount},
    {0x15, "SKU", chassisSku},
};
constexpr Field kProcessor[] = {
    {0x04, "Socket", asText},
    {0x05, "Kind", asName<kProcessorTypes>},
    {0x06, "Family", asHexadecimal<1>},
    {0x07, "Maker", asText},
    {0x08, "Id", asAddress},
    {0x10, "Version", asText},
    {0x11, "Voltage", processorVolts},
    {0x12, "External clock", asMegahertz},
    {0x14, "Maximum clock of the socket", asMegahertz},
    {0x16, "Clock at start", asMegahertz},
    {0x18, "Status", processorStatus},
    {0x19, "Socket type", asName<kSockets>},
    {0x1A, "Level 1 cache", asHandle},
    {0x1C, "Level 2 cache", asHandle},
    {0x1E, "Level 3 cache", asHandle},
    {0x20, "Serial number", asText},
    {0x21, "Asset tag", asText},
    {0x22, "Part number", asText},
    {0x23, "Cores", count<0x2A>},
    {0x24, "Cores enabled", count<0x2C>},
    {0x25, "Threads", count<0x2E>},
    {0x26, "Can", asFlags<kProcessorCharacteristics, 2>},
};
constexpr Field kCache[] = {
    {0x04, "Socket", asText},
    {0x05, "Level", cacheLevel},
    {0x05, "Enabled", asTruth<0x80, 2>},
    {0x05, "Place", asName<kCachePlaces, 2, 0x60, 5>},
    {0x05, "Mode", asName<kCacheModes, 2, 0x300, 8>},
    {0x07, "Maximum size", cacheSize<0x13>},
    {0x09, "Size", cacheSize<0x17>},
    {0x0F, "Speed", asNumber<1, 0, kNanoseconds>},
    {0x10, "Error correction", asName<kErrorCorrections>},
    {0x11, "Holds", asName<kCacheTypes>},
    {0x12, "Ways", asName<kAssociativities>},
};
constexpr Field kConnector[] = {
    {0x04, "On the board", asText},     {0x05, "Connector there", asName<kConnectorTypes>},
    {0x06, "Outside", asText},          {0x07, "Connector outside", asName<kConnectorTypes>},
    {0x08, "Port", asName<kPortTypes>},
};
constexpr Field kSlot[] = {
    {0x04, "Name", asText},
    {0x05, "Kind", slotType},
    {0x06, "Width", asName<kSlotWidths>},
    {0x07, "Use", asName<kSlotUses>},
    {0x08, "Length", asName<kSlotLengths>},
    {0x09, "Number", asWord},
    {0x0B, "Offers", asFlags<kSlotCharacteristics1, 1>},
    {0x0C, "And", asFlags<kSlotCharacteristics2, 1>},
    {0x0D, "Address", pciAddress},
};
constexpr Field kOldDevices[] = {{0x04, "Devices", oldDevices}};
constexpr Field kTexts[] = {{0x04, "Texts", asByte}};
constexpr Field kLanguages[] = {{0x04, "Languages", asByte}, {0x15, "In use", asText}};
constexpr Field kGroup[] = {{0x04, "Name", asText}, {0x05, "Members", groupMembers}};
constexpr Field kEventLog[] = {
    {0x04, "Length of the area", asWord},
    {0x0B, "State", asFlags<kEventLogStates, 1>},
};
constexpr Field kMemoryArray[] = {
    {0x04, "Place", asName<kArrayPlaces>},
    {0x05, "Use", asName<kArrayUses>},
    {0x06, "Error correction", asName<kErrorCorrections>},
    {0x07, "Maximum capacity", arrayCapacity},
    {0x0B, "Errors", asHandle},
    {0x0D, "Slots", asWord},
};
constexpr Field kMemoryDevice[] = {
    {0x10, "Slot", asText},
    {0x11, "Bank", asText},
    {0x0C, "Size", moduleSize},
    {0x12, "Kind", asName<kMemoryTypes>},
    {0x13, "Is", asFlags<kMemoryDetails, 2>},
    {0x0E, "Form", asName<kFormFactors>},
    {0x15, "Speed", speed<0x54>},
    {0x20, "Configured speed", speed<0x58>},
    {0x08, "Total width", asWidth},
    {0x0A, "Data width", asWidth},
    {0x1B, "Ranks", ranks},
    {0x17, "Maker", asText},
    {0x18, "Serial number", asText},
    {0x19, "Asset tag", asText},
    {0x1A, "Part number", asText},
    {0x22, "Minimum voltage", asModuleVolts},
    {0x24, "Maximum voltage", asModuleVolts},
    {0x26, "Configured voltage", asModuleVolts},
    {0x28, "Technology", asName<kMemoryTechnologies>},
    {0x29, "Can be", asFlags<kMemoryModes, 2>},
    {0x2B, "Firmware", asText},
    {0x2C, "Id of the maker", asHexadecimal<2>},
    {0x34, "Non-volatile part", byteCount},
    {0x3C, "Volatile part", byteCount},
    {0x44, "Cache part", byteCount},
    {0x04, "Array", asHandle},
    {0x06, "Errors", asHandle},
};
constexpr Field kMappedArray[] = {
    {0x04, "From", mappedAddress<0x0F, false>},
    {0x08, "To", mappedAddress<0x17, true>},
    {0x0C, "Array", asHandle},
    {0x0E, "Devices in a row", asCount},
};
constexpr Field kMappedDevice[] = {
    {0x04, "From", mappedAddress<0x13, false>},
    {0x08, "To", mappedAddress<0x1B, true>},
    {0x0C, "Device", asHandle},
    {0x0E, "Mapped array", asHandle},
};
constexpr Field kPointing[] = {
    {0x04, "Kind", asName<kPointingTypes>},
    {0x05, "Connected by", asName<kPointingInterfaces>},
    {0x06, "Buttons", asCount},
};
constexpr Field kBattery[] = {
    {0x04, "Place", asText},
    {0x05, "Maker", asText},
    {0x06, "Date", asText},
    {0x12, "Date of manufacture", packedDate},
    {0x07, "Serial number", asText},
    {0x08, "Name", asText},
    {0x09, "Chemistry", asName<kChemistries>},
    {0x14, "Chemistry by the battery", asText},
    {0x0A, "Design capacity", batteryEnergy},
    {0x0C, "Design voltage", asModuleVolts},
    {0x0E, "Smart battery version", asText},
    {0x0F, "Largest error", asNumber<1, 0xFF, kPercent>},
};
constexpr Field kReset[] = {
    {0x04, "Enabled", asTruth<1>},
    {0x04, "Watchdog", asTruth<0x20>},
    {0x09, "Interval", asNumber<2, 0xFFFF, kMinutes>},
    {0x0B, "Time-out", asNumber<2, 0xFFFF, kMinutes>},
};
constexpr Field kSecurity[] = {
    {0x04, "Power-on password", asName<kPasswords, 1, 0xC0, 6>},
    {0x04, "Keyboard password", asName<kPasswords, 1, 0x30, 4>},
    {0x04, "Administrator password", asName<kPasswords, 1, 0x0C, 2>},
    {0x04, "Reset from the front", asName<kPasswords, 1, 0x03>},
};
constexpr Field kVoltageProbe[] = {
    {0x04, "Name", asText},
    {0x05, "Place", asName<kProbePlaces, 1, 0x1F>},
    {0x05, "State", asName<kProbeStates, 1, 0xE0, 5>},
    {0x06, "Maximum", asMillivolts},
    {0x08, "Minimum", asMillivolts},
    {0x0C, "Tolerance", asMillivolts},
    {0x14, "Nominal", asMillivolts},
};
constexpr Field kCooling[] = {
    {0x0E, "Name", asText},
    {0x06, "Kind", asName<kCoolingTypes, 1, 0x1F>},
    {0x06, "State", asName<kProbeStates, 1, 0xE0, 5>},
    {0x07, "Group", asCount},
    {0x0C, "Nominal speed", asNumber<2, 0x8000, kRpm>},
    {0x04, "Temperature probe", asHandle},
};
constexpr Field kTemperatureProbe[] = {
    {0x04, "Name", asText},
    {0x05, "Place", asName<kProbePlaces, 1, 0x1F>},
    {0x05, "State", asName<kProbeStates, 1, 0xE0, 5>},
    {0x06, "Maximum", asTenthDegrees},
    {0x08, "Minimum", asTenthDegrees},
    {0x0C, "Tolerance", asTenthDegrees},
    {0x14, "Nominal", asTenthDegrees},
};
constexpr Field kCurrentProbe[] = {
    {0x04, "Name", asText},
    {0x05, "Place", asName<kProbePlaces, 1, 0x1F>},
    {0x05, "State", asName<kProbeStates, 1, 0xE0, 5>},
    {0x06, "Maximum", asMilliamps},
    {0x08, "Minimum", asMilliamps},
    {0x0C, "Tolerance", asMilliamps},
    {0x14, "Nominal", asMilliamps},
};
constexpr Field kRemoteAccess[] = {
    {0x04, "Maker", asText},
    {0x05, "Connections", asFlags<kRemoteConnections, 1>},
};
constexpr Field kStart[] = {{0x0A, "Status", asName<kStartStates>}};
constexpr Field kManagementDevice[] = {
    {0x04, "Name", asText},
    {0x05, "Kind", asName<kManagementChips>},
    {0x06, "Address", asHexadecimal<4>},
    {0x0A, "On", asName<kManagementBuses>},
};
constexpr Field kManagementPart[] = {
    {0x04, "Name", asText},
    {0x05, "Device", asHandle},
    {0x07, "Part", asHandle},
    {0x09, "Thresholds", asHandle},
};
constexpr Field kController[] = {
    {0x04, "Interface", asName<kControllerInterfaces>},
    {0x05, "IPMI version", decimalRevision},
    {0x06, "I2C address", asHexadecimal<1>},
    {0x08, "Base address", controllerAddress},
    {0x11, "Interrupt", asCount},
};
constexpr Field kPowerSupply[] = {
    {0x05, "Place", asText},
    {0x06, "Name", asText},
    {0x07, "Maker", asText},
    {0x08, "Serial number", asText},
    {0x09, "Asset tag", asText},
    {0x0A, "Part number", asText},
    {0x0B, "Revision", asText},
    {0x0C, "Maximum power", asWatts},
    {0x0E, "Kind", asName<kSupplyTypes, 2, 0x3C00, 10>},
    {0x0E, "State", asName<kSupplyStates, 2, 0x380, 7>},
    {0x0E, "Input range", asName<kSupplyRanges, 2, 0x78, 3>},
    {0x0E, "Is", asFlags<kSupplyFeatures, 2>},
    {0x04, "Group", asCount},
    {0x10, "Voltage probe", asHandle},
    {0x12, "Cooling device", asHandle},
    {0x14, "Current probe", asHandle},
};
constexpr Field kBoardDevice[] = {
    {0x04, "Name", asText},           {0x05, "Kind", asName<kBoardDevices, 1, 0x7F>},
    {0x05, "Enabled", asTruth<0x80>}, {0x06, "Number", asCount},
    {0x07, "Address", pciAddress},
};
constexpr Field kTpm[] = {
    {0x04, "Maker", tpmVendor},
    {0x08, "Version", tpmVersion},
    {0x0A, "Firmware", asHexadecimal<4>},
    {0x0E, "Firmware, second part", asHexadecimal<4>},
    {0x12, "Name", asText},
    {0x13, "Can", asFlags<kTpmCharacteristics, 8>},
};
constexpr Field kFirmware[] = {
    {0x04, "Name", asText},    {0x05, "Version", asText},
    {0x07, "Id", asText},      {0x09, "Date", asText},
    {0x0A, "Maker", asText},   {0x0B, "Lowest version", asText},
    {0x0C, "Size", byteCount}, {0x16, "State", asName<kFirmwareStates>},
};

struct Layout
{
    std::uint8_t m_type;
    std::span<Field const> m_fields;
};
constexpr Layout kLayouts[] = {
    {0, kBios},
    {1, kSystem},
    {2, kBoard},
    {3, kChassis},
    {4, kProcessor},
    {7, kCache},
    {8, kConnector},
    {9, kSlot},
    {10, kOldDevices},
    {11, kTexts},
    {12, kTexts},
    {13, kLanguages},
    {14, kGroup},
    {15, kEventLog},
    {16, kMemoryArray},
    {17, kMemoryDevice},
    {19, kMappedArray},
    {20, kMappedDevice},
    {21, kPointing},
    {22, kBattery},
    {23, kReset},
    {24, kSecurity},
    {26, kVoltageProbe},
    {27, kCooling},
    {28, kTemperatureProbe},
    {29, kCurrentProbe},
    {30, kRemoteAccess},
    {32, kStart},
    {34, kManagementDevice},
    {35, kManagementPart},
    {38, kController},
    {39, kPowerSupply},
    {41, kBoardDevice},
    {43, kTpm},
    {45, kFirmware},
};

} // namespace

std::string fieldTexts(SmbiosStructure const& structure, bool littleEndianUuid)
{
    constexpr std::uint8_t kSystemStructure = 1;
    std::string texts;
    for (Layout const& layout : kLayouts)
        if (layout.m_type == structure.type())
            for (Field const& field : layout.m_fields)
                if (std::string const said = field.m_say(structure, field.m_offset); !said.empty())
                    texts += (texts.empty() ? "" : "; ") + (field.m_name + (": " + said));
    if (auto const uuid = smbiosUuid(structure, littleEndianUuid);
        uuid && structure.type() == kSystemStructure)
        texts += (texts.empty() ? "UUID: " : "; UUID: ") + *uuid;
    return texts;
}

} // namespace zel::smbios
