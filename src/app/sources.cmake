# Sources of the app folder, relative to src/: the request entry and the
# page drivers, the top layer over directory/ and update/.
set(KESTREL_APP_SOURCES
  app/entry.cpp
  app/page_texts.cpp
  app/pages.cpp
)
