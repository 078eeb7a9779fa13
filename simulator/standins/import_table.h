// simulator/standins/import_table.h: replaces a function that the running program imports, from inside a library it has
// loaded.
#pragma once

namespace kelvane::simulator {

// Puts `replacement` into the program's import slot for `function` of `library` (any case). Returns false when the
// program does not import it. Code that is inside a loop around the call may have read the slot before.
bool replaceImport(const char* library, const char* function, void* replacement);

}  // namespace kelvane::simulator
