#pragma once

#include <krel5/KrelException.h>

namespace krel5 {

/// A required parameter has no value in the settings file. After the text stands what every KrelException
/// ends with.
class KREL5_EXPORT ParameterNotSetException : public KrelException
{
public:
    /// Text: Parameter "{parameter}" not set in the settings file for Test "{test}"; an empty `test` leaves
    /// the part about the test out.
    ParameterNotSetException(KrelString const& test, KrelString const& parameter);
    ParameterNotSetException(ParameterNotSetException const& other);
    ParameterNotSetException& operator=(ParameterNotSetException const& other);
    ~ParameterNotSetException() override;
};

} // namespace krel5
