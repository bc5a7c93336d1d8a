# Sources of the update folder, relative to src/.
set(KESTREL_UPDATE_SOURCES
  update/add.cpp
  update/add_names.cpp
  update/delete.cpp
  update/modification_list.cpp
  update/trigger_data.cpp
  update/trigger_run.cpp
  update/update.cpp
  update/value_row.cpp
)
