// The names a loaded module exports, the modules it imports and its data directories, read from
// its PE headers in memory: the same lists that `x86_64-w64-mingw32-objdump -p` prints from the
// file.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace zttsp_test {

struct ExportTable {
  std::vector<std::string> names;  // as exported (mangled)
  DWORD functions = 0;             // exported functions, named or by ordinal only
};

// The module's data directory `entry` (IMAGE_DIRECTORY_ENTRY_*).
const IMAGE_DATA_DIRECTORY& dataDirectoryOf(HMODULE module, int entry);
ExportTable exportTableOf(HMODULE module);
std::vector<std::string> importedModulesOf(HMODULE module);

// The readable form of a C++ symbol name; other names unchanged.
std::string demangle(const std::string& name);

}  // namespace zttsp_test
