// Reading and writing pictures for the tool's commands.
#pragma once

#include <map>
#include <string>

#include "Console.h"
#include "Files.h"

namespace veltool {

// The exit code that a failure of the host library stands for while reading (or else writing).
ExitCode CodeOf(const velhost::Error& error, bool reading);

// Reads a picture; "-" is standard input. Throws Failure(kInput).
velhost::Loaded LoadPicture(const std::string& path, const velhost::LoadOptions& options);

// Writes a picture; "-" is standard output, whose format is options.format. Throws Failure(kOutput).
void SavePicture(const velhost::Image& image, const std::string& path, const velhost::SaveOptions& options);

// A 24-bit copy of an image below 24 bits, through its palette or as greys; the image itself above. Throws
// Failure(kInput) without memory.
SmartPtr<velhost::Image> Expanded(const SmartPtr<velhost::Image>& image);

// "1920x1080 24-bit bgr"
std::string ShapeText(const velhost::Image& image);
// "mono", "bgr", "argb", "abgr" or the code in hexadecimal.
std::string FormatName(uint32_t format);

}  // namespace veltool
