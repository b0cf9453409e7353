#pragma once
// Where a person reads: standard output and standard error, as UTF-8, with failures remembered.

#include <zel/foundation/Export.h>
#include <zel/foundation/String.h>

#include <cstdint>
#include <string_view>

namespace zel {

/// Output stream of text. A write that fails is remembered and never throws, so that whoever decides the exit
/// status can ask `failed()`.
/// Thread rule: a single write is whole; a chain of `<<` is not.
class ZEL_EXPORT OStream
{
public:
    virtual ~OStream();
    OStream() = default;
    OStream(OStream const&) = delete;
    OStream& operator=(OStream const&) = delete;

    virtual void write(std::string_view utf8) = 0;
    virtual void flush() = 0;
    /// True once any write or flush has failed.
    virtual bool failed() const = 0;

    OStream& operator<<(String const& text);
    OStream& operator<<(char const* utf8);
    OStream& operator<<(std::string_view utf8);
    OStream& operator<<(std::int64_t number) { return *this << String::number(number); }
    OStream& operator<<(std::uint64_t number) { return *this << String::number(number); }
    OStream& operator<<(int number) { return *this << String::number(number); }
    OStream& operator<<(unsigned number) { return *this << String::number(number); }
    OStream& operator<<(double number) { return *this << String::number(number); }
    OStream& operator<<(OStream& (*manipulator)(OStream&)) { return manipulator(*this); }

    /// The process's standard output and standard error. They share the C library's buffers, so output of
    /// module code through printf or std::cout keeps its place. Standard output is flushed at each `endl`.
    static OStream& out();
    static OStream& err();
};

/// Writes a line feed and flushes.
ZEL_EXPORT OStream& endl(OStream& stream);

} // namespace zel
