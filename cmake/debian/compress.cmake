# Compresses the texts that Debian packages hold compressed, in the staging folder of CPack.
foreach(text share/man/man1/structure-ingest.1 share/doc/structure-ingest/changelog
    share/doc/python3-structure-ingest/changelog share/doc/libstructure-ingest-dev/changelog)
  if(NOT EXISTS ${CPACK_TEMPORARY_DIRECTORY}/usr/${text})
    continue()
  endif()
  execute_process(COMMAND gzip -9n ${CPACK_TEMPORARY_DIRECTORY}/usr/${text}
    COMMAND_ERROR_IS_FATAL ANY)
endforeach()
