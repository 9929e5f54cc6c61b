// Shorthand for the case files.
#pragma once

#include <opencv2/imgproc.hpp>

#include "Cases.h"
#include "reference/Made.h"

namespace bench {

using Photos = std::shared_ptr<std::vector<SmartPtr<Picture>>>;

inline Photos Prepared(std::initializer_list<SmartPtr<Picture>> pictures) {
    return std::make_shared<std::vector<SmartPtr<Picture>>>(pictures);
}
inline SmartPtr<Picture> Photo(Size size, uint32_t bitsPerPixel) {
    return Photo(size, bitsPerPixel, FormatOf(bitsPerPixel));
}

// The reference's copy of a picture.
inline ref::Image ReferenceOf(Picture& picture) {
    uint32_t width, height, planes, bitsPerPixel, format, unused;
    picture.GetSize(&width, &height, &planes);
    picture.GetFormat(&bitsPerPixel, &format, &unused);
    ref::Image image(width, height, 1, bitsPerPixel, format, picture.Stride());
    image.store[0].assign(picture.Bits(), picture.Bits() + picture.ByteCount());
    return image;
}

inline std::string Depth(const std::string& name, uint32_t bitsPerPixel) {
    return name + "/" + std::to_string(bitsPerPixel);
}

// A case without its calls; `reference` runs on one photo, unless it is empty.
inline Case NamedCase(const std::string& name, uint32_t bitsPerPixel, const std::string& family,
                      const std::string& relation, const std::string& peerCall,
                      std::function<void(ref::Image&)> reference) {
    Case made;
    made.name = name;
    made.bitsPerPixel = bitsPerPixel;
    made.family = family;
    made.relation = relation;
    made.peerCall = peerCall;
    if (reference) {
        made.reference = [=](Size size) -> std::function<void()> {
            auto image = std::make_shared<ref::Image>(ReferenceOf(*Photo(size, bitsPerPixel).Get()));
            return [=] { reference(*image); };
        };
    }
    return made;
}

// An operation that makes a new image of one source, and its peer on the same pixels.
inline Case& AddFilterLike(const std::string& name, uint32_t bitsPerPixel, const std::string& family,
                           const std::string& relation, const std::string& peerCall,
                           std::function<void(IVEL*, IVEL**)> ours, std::function<void(const cv::Mat&, cv::Mat&)> peer,
                           std::function<void(const ref::Image&)> reference = {}) {
    Case added = NamedCase(name, bitsPerPixel, family, relation, peerCall, reference);
    added.prepare = [=](Size size) {
        const SmartPtr<Picture> photo = Photo(size, bitsPerPixel);
        Calls calls;
        calls.ours = [=] {
            IVEL* made = nullptr;
            ours(static_cast<IVELImageDIB*>(photo.Get()), &made);
            if (made) made->Release();
        };
        if (peer) {
            auto result = std::make_shared<cv::Mat>();
            calls.peer = [=] { peer(photo->Mat(), *result); };
        }
        return calls;
    };
    AllCases().push_back(added);
    return AllCases().back();
}

// An operation that changes its image.
inline Case& AddInPlace(const std::string& name, uint32_t bitsPerPixel, const std::string& family,
                        const std::string& relation, const std::string& peerCall, std::function<void(IVEL*)> ours,
                        std::function<void(cv::Mat&)> peer, std::function<void(ref::Image&)> reference = {}) {
    Case added = NamedCase(name, bitsPerPixel, family, relation, peerCall, reference);
    added.prepare = [=](Size size) {
        const SmartPtr<Picture> photo = Photo(size, bitsPerPixel);
        Calls calls;
        calls.ours = [=] { ours(static_cast<IVELImageDIB*>(photo.Get())); };
        if (peer) {
            auto mat = std::make_shared<cv::Mat>(photo->Mat().clone());
            calls.peer = [=] { peer(*mat); };
        }
        return calls;
    };
    AllCases().push_back(added);
    return AllCases().back();
}

}  // namespace bench
