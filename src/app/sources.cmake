# Sources of the app folder, relative to src/: the request entry, the page
# drivers and the FastCGI worker, the top layer over directory/ and update/.
set(KESTREL_APP_SOURCES
  app/entry.cpp
  app/fastcgi_io.cpp
  app/fastcgi_worker.cpp
  app/page_texts.cpp
  app/pages.cpp
)
