# The public headers, by directory. Installed they lie together in include/velox; a tree of links in the build folder gives
# the same view to programs, tests and examples, who write #include <velox/pask.h>.
set(VELOX_HEADERS
    contract/velox_types.h
    contract/velox_manager.h
    contract/velox_lookup_keys.h
    contract/velox_options.h
    standin/velox_standin.h
    catalog/model/velox_text.h
    catalog/model/velox_sound.h
    catalog/api/velox_catalog.h
    runtime/pask_modules.h
    runtime/pask_atomic.h
    runtime/pask_random.h
    runtime/pask_spinlock.h
    runtime/pask_thread.h
    runtime/pask_thread_store.h
    text/pask_string.h
    text/pask_utf8.h
    text/pask_format.h
    text/pask_string_accum.h
    text/pask_number.h
    text/pask_time.h
    collections/pask_utils.h
    collections/pask_hashtable.h
    collections/pask_stringmap.h
    collections/pask_vector.h
    collections/pask_vector2.h
    files/pask_fs.h
    files/pask_fs_dir.h
    files/pask_iostream.h
    files/pask_md5.h
    files/pask.h
    service/velox_cadenz.h)
set(VELOX_HEADER_TREE ${PROJECT_BINARY_DIR}/headers)
file(MAKE_DIRECTORY ${VELOX_HEADER_TREE}/velox)
foreach(header ${VELOX_HEADERS})
  get_filename_component(name ${header} NAME)
  file(CREATE_LINK ${PROJECT_SOURCE_DIR}/${header} ${VELOX_HEADER_TREE}/velox/${name} SYMBOLIC)
endforeach()
