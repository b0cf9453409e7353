#pragma once
// What the units of the exceptions that tell one reason from another share.

#include <libKrel5/basics/ExceptionLogger.h>

#include <krel5/KrelString.h>

namespace krel5 {

#define KREL5_EXCEPTION_COPIES(Class)                                                                        \
    Class::Class(Class const& other) = default;                                                              \
    Class& Class::operator=(Class const& other) = default;                                                   \
    Class::~Class() = default

inline zel::String quoted(KrelString const& text) { return zel::String("\"") + text.zelString() + "\""; }

} // namespace krel5
