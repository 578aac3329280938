// What every source of the service needs: the manager's tables, the service's own status words, and how an operation begins,
// fails and ends.
#pragma once

#include "pask_status.h"
#include "velox_cadenz.h"

// ---- The manager, as got at the first start; null while the service is down -----------------------------------------

extern "C" {
extern VELOX_API const velox_manager_record* g_cadenz_manager_interface;
extern VELOX_API velox_client_ref g_cadenz_client_ref;
extern VELOX_API velox_errorinfo_interface* g_cadenz_errorinfo_interface;
extern VELOX_API velox_handlemanager_interface* g_cadenz_handlemanager_interface;
extern VELOX_API velox_userinfo_interface* g_cadenz_userinfo_interface;
extern VELOX_API velox_lookup_interface* g_cadenz_lookup_interface;
extern VELOX_API velox_mdo_interface* g_cadenz_mdo_interface;
extern VELOX_API velox_listmanager_interface* g_cadenz_lists_interface;
}

// ---- Status words that stay inside ----------------------------------------------------------------------------------

constexpr uint32_t CADENZ_INFO_NOT_FOUND = status_info(PKG_CADENZ, CODE_NOT_FOUND);
constexpr uint32_t CADENZ_ERR_BAD_EVENT = status_error(PKG_CADENZ, 0x003d);
static_assert(CADENZ_ERR_NO_MEMORY == status_error(PKG_CADENZ, CODE_NO_MEMORY));
constexpr uint32_t CADENZ_PACKAGE_WORD = PKG_CADENZ << 16;

// Moves a word from outside package 0xb5 into it; the error bit is set whatever the word's severity was.
constexpr uint32_t cadenz_fold(uint32_t status) {
  return status_package(status) == PKG_CADENZ ? status : status_error(PKG_CADENZ, status & 0xffff);
}

constexpr bool cadenz_is_no_seeds(uint32_t status) { return (status & 0xffff) == (CADENZ_ERR_NO_SEEDS & 0xffff); }

// ---- Failures: a function inside reports, an exported operation ends ------------------------------------------------

// Logs a failed word under the source's label; gives the status back.
inline uint32_t cadenz_report(uint32_t status, const char* label = "velox_cadenz", int32_t line = __builtin_LINE()) {
  pask_report(status, label, line);
  return status;
}

// The end of an operation: folds the status, sets the error information, logs a failure under the operation's name and
// returns the folded word.
uint32_t cadenz_end(const char* operation, uint32_t status, const char* message = nullptr);
// The same, but the caller gets the status as it came.
uint32_t cadenz_end_unfolded(const char* operation, uint32_t status);
// Logs only: the error information stays as it is.
uint32_t cadenz_end_without_errorinfo(const char* operation, uint32_t status);

// ---- The beginning of an exported operation -------------------------------------------------------------------------

template <class... Args>
inline void cadenz_trace(const char* format, Args... args) {
  if (pask_log_enabled(PKG_CADENZ, PASK_LOG_TRACE)) [[unlikely]]
    g_pask_log_callback(0, "[api_trace]", PASK_LOG_TRACE, CADENZ_PACKAGE_WORD, format, args...);
}

// 0, or 0x90b50007 with its report while the service is down.
uint32_t cadenz_ready(const char* operation);
// 0 for a live handle of that kind, else the outcome, reported.
uint32_t cadenz_handle_check(const char* operation, const void* handle, uint32_t magic);
// The whole of an operation that releases a query or a station, behind its trace.
uint32_t cadenz_handle_release(const char* operation, void* handle, uint32_t magic);
