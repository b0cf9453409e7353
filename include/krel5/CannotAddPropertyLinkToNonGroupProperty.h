#pragma once

#include <krel5/KrelException.h>

namespace krel5 {

/// A property link was attached to a property that is not a group. After the text stands what every
/// KrelException ends with.
class KREL5_EXPORT CannotAddPropertyLinkToNonGroupProperty : public KrelException
{
public:
    /// The text begins with the message as it is.
    explicit CannotAddPropertyLinkToNonGroupProperty(zel::String const& message);
    /// Text: Internal Exception: {text of the cause}
    explicit CannotAddPropertyLinkToNonGroupProperty(zel::Exception const& cause);
    CannotAddPropertyLinkToNonGroupProperty(CannotAddPropertyLinkToNonGroupProperty const& other);
    CannotAddPropertyLinkToNonGroupProperty& operator=(CannotAddPropertyLinkToNonGroupProperty const& other);
    ~CannotAddPropertyLinkToNonGroupProperty() override;
};

} // namespace krel5
