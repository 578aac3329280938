// The process-wide key of the thread store, shared by the libraries of the family through the manager.
#pragma once

#include "pask_status.h"

// Makes the key unless another library of the family has made it; a step of pask_thread's start.
uint32_t _thread_key_start();
// Deletes the key if this library made it; a step of pask_thread's stop.
uint32_t _thread_key_stop();
