# Sources of the web folder, relative to src/.
set(KESTREL_WEB_SOURCES
  web/page.cpp
  web/request.cpp
  web/request_limits.cpp
  web/server_url.cpp
  web/url_decode.cpp
)
