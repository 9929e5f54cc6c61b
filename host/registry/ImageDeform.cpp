// The circular deformation.
#include "Entries.h"
#include "../Image.h"
#include "../Module.h"

namespace velhost::entries {

void AddImageDeform(std::vector<Operation>& list) {
    Operation op;
    op.name = "circle-transform";
    op.aliases = {"circle"};
    op.component = "VELDeform";
    op.method = "CircleTransform";
    op.summary = "Bend the image inside the circle through its corners: fish-eye, bulge, swirl, unwrap, wave";
    op.details =
        "Every pixel is pulled from one source pixel, chosen by its angle and distance from the centre. The circle "
        "reaches from the centre to the corners.";
    op.images = {Input()};
    op.parameters = {
        Enumeration("mode", "the deformation",
                    {{0, "fish-eye", "pulls from nearer the centre"},
                     {1, "bulge", "pulls from farther out"},
                     {2, "swirl", "turns by one radian more for each quarter of the diagonal's half"},
                     {3, "unwrap", "angle over the width, distance over the height"},
                     {4, "wave", "a saw-tooth shift of up to 16 pixels along the rows"}},
                    int64_t{2}),
        Switch("opaque", "make a 32-bit image with alpha 255 (1 where nothing was there to pull)"),
    };
    op.result = ResultKind::Replaces;
    op.rules.acts = {1, 4, 8, 24, 32};
    op.rules.leavesAlone = {16};
    op.rules.depths =
        "1, 4 and 8 bits are read as greys and written as the nearest grey; 16-bit images are read as black, "
        "and written only with --opaque";
    op.rules.border = "points on or outside the circle and sources outside the image take the colour of pixel (0, 0)";
    op.rules.rounding = "source positions are truncated toward zero; one source pixel each, no interpolation";
    op.rules.saturation = "none needed";
    op.rules.alpha = "moves with the pixel, 1 where the source lies outside; 255 with --opaque, outside still 1";
    op.rules.window = "any pixel of the image";
    op.rules.tiling = "no: a pixel may come from anywhere";
    op.rules.results = {{"S_OK", "done; the image has taken over the new one"},
                        {"E_FAIL", "no image was given, or the host made no new one (the image is unchanged)"}};
    op.mainParameter = "mode";
    op.mainValues = {"fish-eye", "bulge", "swirl", "unwrap", "wave"};
    op.run = [](Call& call) {
        call.result = call.Image("input");
        const HRESULT code =
            call.Components().Deform()->CircleTransform(call.Image("input"), call.Int("mode"), call.Flag("opaque"));
        // The module keeps the source's format code, which would say integers or no alpha of the 32-bit result.
        auto* image = dynamic_cast<Image*>(call.result.Get());
        if (call.Flag("opaque") && image && !Failed(code)) image->SetFormat(FORMAT_ARGB);
        return code;
    };
    op.verdict = [](const Call& call) {
        if (InfoOf(call.Image("input")).bitsPerPixel != 16) return Verdict{};
        return Verdict{Verdict::LeavesAlone, "16-bit pixels are read as black"};
    };
    list.push_back(std::move(op));
}

}  // namespace velhost::entries
