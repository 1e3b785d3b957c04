// Reads the export and import tables of a loaded module from its PE headers.
#include "tests/windows/export_table.h"

#include <cxxabi.h>

#include <cstdlib>
#include <memory>

namespace zttsp_test {
namespace {

const BYTE* baseOf(HMODULE module) {
  return reinterpret_cast<const BYTE*>(module);
}

}  // namespace

const IMAGE_DATA_DIRECTORY& dataDirectoryOf(HMODULE module, int entry) {
  const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(baseOf(module));
  const auto* nt = reinterpret_cast<const IMAGE_NT_HEADERS*>(baseOf(module) + dos->e_lfanew);
  return nt->OptionalHeader.DataDirectory[entry];
}

ExportTable exportTableOf(HMODULE module) {
  ExportTable table;
  const auto& entry = dataDirectoryOf(module, IMAGE_DIRECTORY_ENTRY_EXPORT);
  if (entry.Size == 0) return table;
  const auto* exports =
      reinterpret_cast<const IMAGE_EXPORT_DIRECTORY*>(baseOf(module) + entry.VirtualAddress);
  const auto* names = reinterpret_cast<const DWORD*>(baseOf(module) + exports->AddressOfNames);
  for (DWORD i = 0; i < exports->NumberOfNames; ++i)
    table.names.emplace_back(reinterpret_cast<const char*>(baseOf(module) + names[i]));
  table.functions = exports->NumberOfFunctions;
  return table;
}

std::vector<std::string> importedModulesOf(HMODULE module) {
  std::vector<std::string> modules;
  const auto& entry = dataDirectoryOf(module, IMAGE_DIRECTORY_ENTRY_IMPORT);
  if (entry.Size == 0) return modules;
  for (const auto* import =
           reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(baseOf(module) + entry.VirtualAddress);
       import->Name != 0; ++import)
    modules.emplace_back(reinterpret_cast<const char*>(baseOf(module) + import->Name));
  return modules;
}

std::string demangle(const std::string& name) {
  int status = 0;
  std::unique_ptr<char, decltype(&std::free)> readable(
      abi::__cxa_demangle(name.c_str(), nullptr, nullptr, &status), &std::free);
  return status == 0 ? std::string(readable.get()) : name;
}

}  // namespace zttsp_test
