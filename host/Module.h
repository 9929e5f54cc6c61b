// VELMaths.so as the host sees it: found, loaded, given a component collection, its components at hand.
#pragma once

#include <filesystem>
#include <vector>

#include "Collection.h"
#include "Error.h"
#include "Interface.h"
#include "ModuleFile.h"
#include "SmartPtr.h"

namespace velhost {

// Tables of the component classes themselves, for the operations that are in no interface. The pointer that a
// component answers for IUnknown points at such a table.
struct ComponentClass : IUnknown {
    virtual HRESULT FinalConstruct() = 0;
    virtual void FinalRelease() = 0;
    virtual void Lock() = 0;
    virtual void Unlock() = 0;
};

struct FilterClass : ComponentClass {
    virtual HRESULT GaussianBlur(IVEL* src, int level, IVEL** dest) = 0;
    virtual HRESULT Sharpen(IVEL* src, IVEL** dest) = 0;
    virtual HRESULT Soften(IVEL* src, IVEL** dest) = 0;
    virtual HRESULT Blur(IVEL* src, IVEL** dest) = 0;
    virtual HRESULT Emboss(IVEL* src, IVEL** dest) = 0;
    virtual HRESULT Median(IVEL* src, int size, IVEL** dest) = 0;
    virtual HRESULT Noise(IVEL* src, int level, IVEL** dest) = 0;
    virtual HRESULT Jitter(IVEL* src, int radius, IVEL** dest) = 0;
    virtual HRESULT Contour(IVEL* src, IVEL** dest) = 0;
    virtual HRESULT Filter(IVEL* src, int* kernel, int size, int divisor, int offset, IVEL** dest) = 0;
    virtual HRESULT Dilate(IVEL* src, int size, IVEL** dest) = 0;
    virtual HRESULT Edge(IVEL* src, int size, IVEL** dest) = 0;
    virtual HRESULT Erode(IVEL* src, int size, IVEL** dest) = 0;
    // Counts strides in 32-bit values: call it inside a StrideInValues scope (Image.h).
    virtual HRESULT Kernel(IVEL* src, short* kernel, int size, int divisor, int offset, IVEL** dest) = 0;
};

struct TransformClass : ComponentClass {
    virtual HRESULT IncreaseBpp(IVEL* source, IVEL** result, int bitsPerPixel, unsigned int format) = 0;
    virtual HRESULT Resample(IVEL* source, IVEL** destination, int newWidth, int newHeight, int method, int mode) = 0;
    virtual HRESULT Skew(IVEL* source, IVEL** destination, float xFactor, float yFactor, int xPivot, int yPivot,
                         int reserved, int force32) = 0;
    virtual HRESULT Rotate(IVEL* source, IVEL** destination, int angleDegrees, int method, int force32,
                           int keepSize) = 0;
    virtual HRESULT RotatePaste(IVEL* source, IVEL* destination, double angleRadians, int method,
                                int transparentColour) = 0;
    virtual HRESULT Mirror(IVEL* source, IVEL** destination) = 0;
    virtual HRESULT Flip(IVEL* source, IVEL** destination) = 0;
    virtual HRESULT FlipBits(IVEL* image) = 0;
    virtual HRESULT Rotate4(IVEL* source, IVELImage* destination, int angle) = 0;
    virtual HRESULT Quad(IVEL* source, IVEL** result, double x0, double y0, double x1, double y1, double x2, double y2,
                         double x3, double y3, unsigned int width, unsigned int height, short interpolate) = 0;
    virtual HRESULT Transform(ITransform* mapping, IVEL* source, IVEL** result, int x0, int y0, unsigned int width,
                              unsigned int height, short unused1, short unused2) = 0;
    virtual HRESULT TransformPaste(ITransform* mapping, IVEL* source, IVEL* destination, int dx, int dy,
                                   short markVoids, short unused) = 0;
    virtual HRESULT FillVoids(IVEL* image) = 0;
};

// The loaded module with one object of each component. Several of one file share the module's one collection, the
// newest one's. The objects keep no state, so all threads may use them at once;
// the pointers are valid as long as this object, and so is what the module made.
class Module {
public:
    // Loads the module and hands it the collection (null: a new one of the built-in components), where its components
    // are registered too. An empty path: the first of SearchPaths() that exists. Throws ErrorKind::Module.
    explicit Module(const std::filesystem::path& path = {}, SmartPtr<Collection> collection = {});
    // Gives the objects and the collection back; the last one of a file unloads it, which then forgets the collection.
    ~Module();
    Module(const Module&) = delete;
    Module& operator=(const Module&) = delete;

    // Where VELMaths.so is looked for: ../_binMAC and _binMAC beside the program (or the shared library that holds this
    // code), the folders of an installation beside it, the one that was configured, ./_binMAC.
    static std::vector<std::filesystem::path> SearchPaths();

    IVELColorTransform* Color() const { return m_color.Get(); }
    IVELFilterTransform* Filter() const { return m_filter.Get(); }
    IVELDeform* Deform() const { return m_deform.Get(); }
    IVELTransform* Transform() const { return m_transform.Get(); }
    IVELMaths* Maths() const { return m_maths.Get(); }
    // The classes' own tables, for Kernel, Rotate4 and FillVoids.
    FilterClass* FilterTable() const { return m_filterTable.Get(); }
    TransformClass* TransformTable() const { return m_transformTable.Get(); }

    Collection* Components() const { return m_collection.Get(); }
    const std::filesystem::path& Path() const { return m_path; }

private:
    template <class T>
    void Make(SmartPtr<T>& component, std::wstring_view object, const char* interfaceName);
    void ReleaseAll();

    std::filesystem::path m_path;
    ModuleFile m_file;
    SmartPtr<Collection> m_collection;
    SmartPtr<IVELColorTransform> m_color;
    SmartPtr<IVELFilterTransform> m_filter;
    SmartPtr<IVELDeform> m_deform;
    SmartPtr<IVELTransform> m_transform;
    SmartPtr<IVELMaths> m_maths;
    SmartPtr<FilterClass> m_filterTable;
    SmartPtr<TransformClass> m_transformTable;
};

}  // namespace velhost
