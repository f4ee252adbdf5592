# Compresses the texts that Debian's packages hold compressed, in what CPack has gathered.
foreach(text share/man/man1/structure-ingest.1 share/doc/structure-ingest/changelog)
  execute_process(COMMAND gzip -9n ${CPACK_TEMPORARY_DIRECTORY}/usr/${text}
    COMMAND_ERROR_IS_FATAL ANY)
endforeach()
