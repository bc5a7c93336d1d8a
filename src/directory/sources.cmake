# Sources of the directory folder, relative to src/.
set(KESTREL_DIRECTORY_SOURCES
  directory/attribute_reader.cpp
  directory/connection.cpp
  directory/map_link.cpp
  directory/messages.cpp
  directory/modify_form.cpp
  directory/render.cpp
  directory/render_text.cpp
  directory/render_views.cpp
  directory/run_end.cpp
  directory/search.cpp
  directory/search_filter.cpp
  directory/values.cpp
  directory/vcard.cpp
)
