#pragma once
// How a program for people speaks: what it found on standard output, what is wrong on standard error.
//
// Thread rule: setProgram once, before anything else; the other operations by one thread at a time.

#include <cstddef>
#include <string>

namespace listing {

/// What complaints begin with, and saved listings name: "zel-devices".
void setProgram(std::string const& name, std::string const& version);
std::string const& programName();
std::string const& programVersion();

/// One line on standard error; what a terminal would take as a command is an escape.
void complain(std::string const& what);

/// Prints on standard output. True when everything went out, or as much as somebody wanted to read; otherwise
/// complains.
bool printed(std::string const& text);

/// Columns of the terminal that standard output is; 0: it is none.
std::size_t terminalWidth();

/// "2026-11-22T09:00:00Z"
std::string now();

} // namespace listing
