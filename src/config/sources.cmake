# Sources of the config folder, relative to src/.
set(KESTREL_CONFIG_SOURCES
  config/directives.cpp
  config/reader.cpp
  config/settings.cpp
)
