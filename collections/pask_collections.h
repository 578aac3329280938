// Status words of the collections, which share one package.
#pragma once

#include "pask_status.h"

enum datatypes_status : uint32_t {
  DATATYPES_ERR_INVALID_ARG = status_error(PKG_DATATYPES, CODE_INVALID_ARG),
  DATATYPES_ERR_NO_MEMORY = status_error(PKG_DATATYPES, CODE_NO_MEMORY),
  DATATYPES_ERR_NOT_INITED = status_error(PKG_DATATYPES, CODE_NOT_INITED),
  DATATYPES_ERR_WRONG_SIZE = status_error(PKG_DATATYPES, 0x0209),       // of elements
  DATATYPES_ERR_BAD_HANDLE = status_error(PKG_DATATYPES, 0x0320),       // the word of changing operations
  DATATYPES_ERR_BAD_HANDLE_READ = status_error(PKG_DATATYPES, 0x0321),  // that of the others; each table tells which
  DATATYPES_ERR_NOT_TEXT = status_error(PKG_DATATYPES, 0x0360),         // a stored value is no terminated text
  DATATYPES_ERR_KEY_EXISTS = status_error(PKG_DATATYPES, 0x0368),
  DATATYPES_INFO_NOT_FOUND = status_info(PKG_DATATYPES, CODE_NOT_FOUND),
  DATATYPES_INFO_STOPPED = status_info(PKG_DATATYPES, 0x01a0),  // a callback asked for it
  DATATYPES_INFO_RANGE = status_info(PKG_DATATYPES, 0x0361),    // an index past the end
};
