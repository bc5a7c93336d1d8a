# Fails when a file under src/ includes a header of a folder above its own.
# Layers from the bottom: config, web, directory, update, then app (the
# request entry and page drivers) and admin (the companion tool), which
# never include each other. src/main.cpp is only the entry call.
# Run as: cmake -DKESTREL_SOURCE_DIR=<src folder> -P layering.cmake
cmake_minimum_required(VERSION 3.18)

set(allowed_config config)
set(allowed_web config web)
set(allowed_directory config web directory)
set(allowed_update config web directory update)
set(allowed_app config web directory update app)
set(allowed_admin config web directory update admin)

file(GLOB folders RELATIVE ${KESTREL_SOURCE_DIR} ${KESTREL_SOURCE_DIR}/*)
set(broken "")
foreach(folder ${folders})
  if(NOT IS_DIRECTORY ${KESTREL_SOURCE_DIR}/${folder})
    continue()
  endif()
  if(NOT DEFINED allowed_${folder})
    string(APPEND broken "src/${folder}/ is in no layer\n")
    continue()
  endif()
  file(GLOB_RECURSE files RELATIVE ${KESTREL_SOURCE_DIR}
       ${KESTREL_SOURCE_DIR}/${folder}/*.h ${KESTREL_SOURCE_DIR}/${folder}/*.cpp)
  foreach(file ${files})
    file(STRINGS ${KESTREL_SOURCE_DIR}/${file} includes
         REGEX "^#include \"[a-z_]+/")
    foreach(line ${includes})
      string(REGEX REPLACE "^#include \"([a-z_]+)/.*" "\\1" target "${line}")
      if(NOT target IN_LIST allowed_${folder})
        string(APPEND broken "src/${file}: ${line}\n")
      endif()
    endforeach()
  endforeach()
endforeach()
if(broken)
  message(FATAL_ERROR "Includes against the layering:\n${broken}")
endif()
