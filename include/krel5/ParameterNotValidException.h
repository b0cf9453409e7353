#pragma once

#include <krel5/KrelException.h>

namespace krel5 {

/// A test was given a value for a parameter that the parameter does not take. After the text stands what
/// every KrelException ends with.
class KREL5_EXPORT ParameterNotValidException : public KrelException
{
public:
    /// Text: Parameter "{parameter}" not valid for Test "{test}"
    ParameterNotValidException(KrelString const& test, KrelString const& parameter);
    ParameterNotValidException(ParameterNotValidException const& other);
    ParameterNotValidException& operator=(ParameterNotValidException const& other);
    ~ParameterNotValidException() override;
};

} // namespace krel5
