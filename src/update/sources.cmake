# Sources of the update folder, relative to src/.
set(KESTREL_UPDATE_SOURCES
  update/add.cpp
  update/delete.cpp
  update/update.cpp
)
