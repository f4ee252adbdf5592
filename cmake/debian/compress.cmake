# Compresses the texts that Debian packages hold compressed, in the staging folder of CPack.
foreach(text share/man/man1/structure-ingest.1 share/doc/structure-ingest/changelog)
  execute_process(COMMAND gzip -9n ${CPACK_TEMPORARY_DIRECTORY}/usr/${text}
    COMMAND_ERROR_IS_FATAL ANY)
endforeach()
