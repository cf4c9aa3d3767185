// How a declaration says that the shared library exports it.

#pragma once

#define PTC_API __attribute__((visibility("default")))
