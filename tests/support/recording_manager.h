// A manager record whose tables pass every call on to the stand-in, write it down, and fail the one that a test chooses.
#pragma once

#include <velox/velox_manager.h>

#include <string>
#include <vector>

namespace recording {

// The record for velox_cadenz_initialize; starts the stand-in. Every table call is numbered from 0.
const velox_manager_record* start();
void stop();

constexpr pask_status FAILURE = 0x90440077;  // what a chosen call gives

// Fails the n-th call from now on, with the given word. A call whose result nobody looks at does its work all the same.
void fail(uint32_t nth, pask_status word = FAILURE);
// Never fails calls of that name by number; empty for none.
void spare(const std::string& name);
// Fails the n-th call of that name.
void fail(const std::string& name, uint32_t nth, pask_status word = FAILURE);
// Ends the failing. True when a call was failed.
bool fail_end();

// The calls since the last take whose name begins with the prefix, as text: "lookup_add_data cadenzreq1 key value 1".
std::vector<std::string> take(const std::string& prefix = "");

// What errorinfo_set was told since the last call: "90b50001 90b50001 velox_cadenz_query_create message".
std::vector<std::string> take_errors();

// What the log hook was told: "line|file|level|word|format", the line being 0 or N for a non-zero one.
std::vector<std::string> take_log();

}  // namespace recording
