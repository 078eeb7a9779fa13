// diagnostics/ansi_text.h: wide text in the ANSI code page, in which all narrow text of the service is held.
#pragma once

#include <string>
#include <string_view>

namespace kelvane {

// Characters that the code page lacks become its replacement character.
std::string toAnsi(std::wstring_view wide);

}  // namespace kelvane
