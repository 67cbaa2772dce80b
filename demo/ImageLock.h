#pragma once

/// What keeps two drivers from having one chip: a lock beside the chip's image, in FILE.lock.
///
///     tool::ImageLock const lock("chip.img"); // Refused if another process has it
///
/// Taken before anything else of the image is looked at. It ends with this object or its process, however
/// that ends; the file goes with the object, and one that a killed process has left is taken over.

#include "tools/Files.h"

#include <string>

namespace tool {

class ImageLock {
public:
    explicit ImageLock(std::string const& image);
    ~ImageLock();
    ImageLock(ImageLock const&) = delete;
    ImageLock& operator=(ImageLock const&) = delete;

private:
    std::string path_;
    File file_;
};

} // namespace tool
