#pragma once
// A declared, typed parameter of a test or of the whole module. Its value comes from the settings file or
// from the client that runs the test.
//
//     Parameter* s_loops =
//         DiagModule::createParameter("loops", DataType::UINT32(), "10", false, false, "1..1000");
//     DiagModule::createTest("pattern", DeviceCapability::Memory(), patternTest)->addParameter(s_loops);
//
//     unsigned int loops = s_loops->value().valueUint32(); // in patternTest
//
// Before a test runs, the library binds each parameter to the run; from then on the values are those of the
// run. Thread rule: one object is not used from two threads at once.

#include <krel5/DataHolder.h>
#include <krel5/DataType.h>
#include <krel5/Export.h>
#include <krel5/KrelString.h>
#include <krel5/ParameterSource.h>
#include <krel5/Value.h>

namespace zel {
class ParameterImp;
class TestRunImp;
} // namespace zel

namespace krel5 {

struct ParameterInternalData;

class KREL5_EXPORT Parameter
{
public:
    /// Use DiagModule::createParameter. `defaultText` is read as `type` ("" : no default); `validRange` is a
    /// list of single values and spans, "1..16, 32, 64..", "" for everything. A default or a range that
    /// cannot be read is refused by createParameter; of a parameter made without it, it refuses the runs of the
    /// tests that have the parameter. InvalidKeyException when the key holds a blank.
    Parameter(KrelString const& key, KrelString const& defaultText, DataType const& type,
              KrelString const& validRange, bool required, bool isGlobal);
    Parameter(Parameter const& other);
    Parameter& operator=(Parameter const& other);
    virtual ~Parameter();

    /// These texts are owned by the parameter and stay until they are read again, or it is assigned or
    /// destroyed.
    KrelString const& key() const;
    KrelString const& localizedName() const;
    KrelString const& localizedDescription() const;
    KrelString const& validDataRange() const;
    DataType type() const;
    bool isRequired() const;
    /// Whether the settings file or the client gave it a value.
    bool isset() const;
    ParameterSource valueSource() const;

    /// The value that was set, else the default, else an empty value of the type.
    Value value() const;
    /// Stores the value in `out` and returns true; returns false, and leaves `out` alone, when the current
    /// test run has no such parameter or nothing set it.
    bool value(Value& out) const;
    /// The value's text. ParameterNotValidException when the current test run has no such parameter,
    /// ParameterNotSetException when nothing set it.
    KrelString toString() const;

    /// The value that the settings file gives the parameter for the whole module ("Parameter.{key}.value").
    /// Returns false, and leaves `out` alone, without such a line; ParameterNotValidException for one that
    /// cannot be taken.
    bool getFileGlobalSetting(Value& out) const;
    /// The same for the test `parentKey` ("Test.{parentKey}.{key}.value"), else for the indicator of that key
    /// ("Indicator.{parentKey}.{key}.value").
    bool getFileSettingForParent(zel::String const& parentKey, Value& out) const;

    /// For the library's own use: takes the values of that run.
    void resetForTestRun(zel::TestRunImp const& run);
    /// For the library's own use: takes the values of a resolved copy that belongs to what runs now.
    void bindTo(zel::ParameterImp const& resolved);
    /// The parameter in force; for the library's own use. Lives as long as this object, or until it is bound
    /// anew.
    zel::ParameterImp& imp();
    zel::ParameterImp const& imp() const;

private:
    ParameterInternalData& data();
    ParameterInternalData const& data() const;
    bool fileSetting(zel::String const& settingsKey, zel::String const& parentKey, Value& out) const;

    DataHolder<ParameterInternalData> m_holder;
};

} // namespace krel5
