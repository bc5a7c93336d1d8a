# Sources of the admin folder, relative to src/: the pure check, show and
# forms logic (library kestrel_admin_core, on top of kestrel) and the
# kestrel-admin entry.
set(KESTREL_ADMIN_SOURCES
  admin/check.cpp
  admin/cli.cpp
  admin/config_file.cpp
  admin/forms.cpp
  admin/show.cpp
  admin/text_util.cpp
)
set(KESTREL_ADMIN_MAIN admin/main.cpp)
