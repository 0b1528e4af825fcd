#pragma once

#include <cstdint>

/// The debug channel: @p text is put out as it stands, line breaks included.
void NM_DEBUG_OUTPUT(const char* text);

/// Installs the crash handler. Called first of all by main.
void kelCatchSegFault(int32_t argc, char** argv);

/// Deletes a platform task. Only a platform that runs the daemon as a task of its own supplies it.
void kelTaskDelete(int32_t taskId) __attribute__((weak));
