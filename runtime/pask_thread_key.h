// The process-wide key of the thread store, shared by the libraries of the family through the manager.
#pragma once

#include "pask_status.h"

// Makes the key unless another library of the family has made it; a step of pask_thread's start.
uint32_t _thread_key_start();
// Deletes the key if this library made it; a step of pask_thread's stop.
uint32_t _thread_key_stop();

// Takes the stopping thread's record from it, if this library's key holds one, and drops it: before a stop.
void* _thread_record_take();
void _thread_record_release(void* record);
