// kelvanectl/console.h: what the command tells, and in which words it fails. Text within the command is UTF-8.
#pragma once

#include <string>
#include <string_view>

namespace kelvane {

// Exit codes.
inline constexpr int done = 0;
inline constexpr int failed = 1;
inline constexpr int wrongUsage = 2;
inline constexpr int notRunning = 3;
inline constexpr int notInstalled = 4;
inline constexpr int noRight = 5;

// What stands for a thing that this prompt may not see.
inline constexpr char unseen[] = "unknown (run from an elevated prompt)";

std::string toUtf8(std::wstring_view wide);
std::wstring toWide(std::string_view utf8);
std::string ansiToUtf8(std::string_view narrow);  // from the machine's ANSI code page

// To standard output: to a console as it shows all characters, to a file or a pipe as UTF-8.
void say(const std::string& text);

// One sentence to standard error; returns `exitCode`.
int complain(int exitCode, const std::string& sentence);

}  // namespace kelvane
