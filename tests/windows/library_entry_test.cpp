// The library entry. zttsp.dll asks for no thread notifications at process attach, but the
// loader refuses: like every mingw-w64 DLL it has a TLS directory (the runtime's callbacks that
// free per-thread data), and DisableThreadLibraryCalls fails for a DLL with static TLS.
#include <windows.h>
#include <winternl.h>

#include <gtest/gtest.h>

#include <thread>

#include "rfc3161/request.h"
#include "tests/support/test_support.h"
#include "tests/windows/export_table.h"

namespace {

// The loader's flags for a module, from its entry in the process's module list. The field is
// not in the SDK's LDR_DATA_TABLE_ENTRY; on x64 it lies 0x68 bytes into the entry, on Windows
// as in Wine.
ULONG loaderFlagsOf(HMODULE module) {
  // Through NtQueryInformationProcess: NtCurrentTeb's inline gs: read upsets GCC's -O2 bounds
  // checks.
  PROCESS_BASIC_INFORMATION process{};
  if (NtQueryInformationProcess(GetCurrentProcess(), ProcessBasicInformation, &process,
                                sizeof process, nullptr) != 0) {
    ADD_FAILURE() << "NtQueryInformationProcess failed";
    return 0;
  }
  const LIST_ENTRY* modules = &process.PebBaseAddress->Ldr->InMemoryOrderModuleList;
  for (const LIST_ENTRY* link = modules->Flink; link != modules; link = link->Flink) {
    const auto* entry = CONTAINING_RECORD(link, LDR_DATA_TABLE_ENTRY, InMemoryOrderLinks);
    if (entry->DllBase == module)
      return *reinterpret_cast<const ULONG*>(reinterpret_cast<const BYTE*>(entry) + 0x68);
  }
  ADD_FAILURE() << "module not in the loader's list";
  return 0;
}

// What DisableThreadLibraryCalls sets when it succeeds (LDRP_DONT_CALL_FOR_THREADS).
constexpr ULONG kNoThreadCalls = 0x00040000;

TEST(LibraryEntry, ThreadNotificationsStayOnBecauseOfTheRuntimesTls) {
  const HMODULE zttsp = GetModuleHandleA("zttsp.dll");
  ASSERT_NE(nullptr, zttsp);
  EXPECT_NE(0u, zttsp_test::dataDirectoryOf(zttsp, IMAGE_DIRECTORY_ENTRY_TLS).Size);
  EXPECT_EQ(0u, loaderFlagsOf(zttsp) & kNoThreadCalls);

  // The notifications that do come are answered with success: threads start and end with the
  // DLL loaded, and errors thrown in them arrive (the per-thread exception data is the TLS's).
  HRESULT thrown = S_OK;
  std::thread user([&thrown] {
    thrown = zttsp_test::hresultOf([] { Zanthorel::PKI::TSP::CRequest().decode({}); });
  });
  user.join();
  EXPECT_EQ(E_INVALIDARG, thrown);
}

}  // namespace
