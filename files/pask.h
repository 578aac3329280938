/* All of the support library under the service. */
#ifndef PASK_H
#define PASK_H

#include "pask_atomic.h"
#include "pask_format.h"
#include "pask_fs.h"
#include "pask_fs_dir.h"
#include "pask_hashtable.h"
#include "pask_iostream.h"
#include "pask_md5.h"
#include "pask_modules.h"
#include "pask_number.h"
#include "pask_random.h"
#include "pask_spinlock.h"
#include "pask_string.h"
#include "pask_string_accum.h"
#include "pask_stringmap.h"
#include "pask_thread.h"
#include "pask_thread_store.h"
#include "pask_time.h"
#include "pask_utf8.h"
#include "pask_utils.h"
#include "pask_vector.h"
#include "pask_vector2.h"

#endif
