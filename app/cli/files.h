/* Files: texts read as streams and digests of what a file holds, through the library's own layer; results written. */
#ifndef CADENZ_APP_FILES_H
#define CADENZ_APP_FILES_H

#include <velox/pask.h>

#include <string>
#include <string_view>

#include "core/handles.h"

namespace app {

using file_owner = std::unique_ptr<pask_fs_file, releaser<pask_fs_file_close>>;
using stream_owner = std::unique_ptr<pask_iostream, releaser<pask_iostream_release>>;

/** Keeps the file layer started. */
class file_layer {
 public:
  file_layer();
  ~file_layer() { pask_fs_shutdown(); }
  file_layer(const file_layer&) = delete;
  file_layer& operator=(const file_layer&) = delete;
};

/** A stream that reads a file, or standard input by the name PASK_FS_STDIN. */
stream_owner open_text(const std::string& path);
/** For velox_catalog_import: reads a stream, which is the context. */
pask_status read_text(void* stream, void* buffer, uint32_t size, uint32_t* got);

/** For velox_catalog_scan_events: a digest of an audio file's size, beginning and end, by which a file that was moved or copied
 *  is known again. Reading the whole of a collection for it would take as long as listening to some of it. */
int digest_of(void* context, const char* path, uint8_t digest[16]) noexcept;

/** Writes a file as a whole: it is there complete, or as it was before, with the permissions that it had; a link stays, and what it
 *  leads to is written. A device or a pipe is written as it is. The catalogue isn't written over. */
void write_file(const std::string& path, std::string_view text, const std::string& catalog);

}  // namespace app

#endif
