// vel gallery: every operation in pictures, on one static page.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "Module.h"
#include "Picture.h"
#include "Registry.h"

namespace veltool {

// One picture of the page.
struct Shot {
    std::string file;     // relative to the page
    std::string caption;  // also its text alternative
    uint32_t width = 0, height = 0;
    bool alpha = false;  // shown on a checkerboard
    std::string note;    // instead of a picture: why there is none
};

// What the page shows of one operation.
struct Sheet {
    const velhost::Operation* operation = nullptr;
    Shot before, after;
    std::string hash;           // of the result's shape and pixels
    std::vector<Shot> strip;    // along the main parameter
    std::vector<Shot> depths;   // the same arguments at each depth
    std::vector<Shot> corners;  // first and last corner of the result, enlarged; empty where no border rule is
};

// Makes the pictures of a page in a folder. `photos` are the inputs, the first two at most shown.
class GalleryMaker {
public:
    GalleryMaker(velhost::Module& module, std::filesystem::path folder, std::vector<std::string> photos);

    Sheet Make(const velhost::Operation& operation);
    // The sixteen sampling methods on the same enlarged detail.
    std::vector<Shot> MakeMethods();

private:
    using ImagePointer = SmartPtr<velhost::Image>;

    ImagePointer At(const std::string& depth, bool second) const;
    Shot Save(const ImagePointer& image, const std::string& name, const std::string& caption);
    // The operation on pictures of a depth; null with a note when it does not act.
    ImagePointer Run(const velhost::Operation& operation, const velhost::Arguments& arguments, const std::string& depth,
                     std::string* note);
    void AddStrip(Sheet* sheet, const velhost::Arguments& arguments, const std::string& depth);
    void AddDepths(Sheet* sheet, const velhost::Arguments& arguments);
    void AddCorners(Sheet* sheet, const ImagePointer& result);

    velhost::Module& m_module;
    std::filesystem::path m_folder;
    std::vector<std::string> m_photos;
    ImagePointer m_first, m_second;  // 24 bits, reduced to the page's size
};

// The page's text, complete with style and script.
std::string GalleryPage(const std::vector<Sheet>& sheets, const std::vector<Shot>& methods);

}  // namespace veltool
