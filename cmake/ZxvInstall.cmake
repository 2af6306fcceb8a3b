# Installation: libraries, public headers, CMake package config, pkg-config.
