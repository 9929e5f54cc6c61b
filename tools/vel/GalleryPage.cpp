// The gallery's page: one document with its own style and script, no outside reference.
#include "Describe.h"
#include "Gallery.h"
#include "GalleryAssets.h"

namespace veltool {
namespace {

using velhost::Operation;

std::string Escaped(const std::string& text) {
    std::string out;
    for (const char c : text) {
        switch (c) {
            case '&': out += "&amp;"; break;
            case '<': out += "&lt;"; break;
            case '>': out += "&gt;"; break;
            case '"': out += "&quot;"; break;
            default: out += c;
        }
    }
    return out;
}

std::string Picture(const Shot& shot, const std::string& kind) {
    return "<img class=\"" + kind + (shot.alpha ? " checker" : "") + "\" src=\"" + shot.file + "\" width=\"" +
           std::to_string(shot.width) + "\" height=\"" + std::to_string(shot.height) + "\" alt=\"" +
           Escaped(shot.caption) + "\" loading=\"lazy\">";
}

std::string Figure(const Shot& shot, const std::string& kind) {
    const std::string body =
        shot.file.empty() ? "<p class=\"none\">" + Escaped(shot.note) + "</p>" : Picture(shot, kind);
    return "<figure>" + body + "<figcaption>" + Escaped(shot.caption) + "</figcaption></figure>\n";
}

std::string Row(const std::string& title, const std::vector<Shot>& shots, const std::string& kind) {
    if (shots.empty()) return {};
    std::string text = "<h3>" + title + "</h3>\n<div class=\"row " + kind + "\">\n";
    for (const Shot& shot : shots) text += Figure(shot, kind);
    return text + "</div>\n";
}

// Before and after: laid over each other with a slider where the sizes agree, else side by side.
std::string Comparison(const Sheet& sheet) {
    if (sheet.after.file.empty()) return "<p class=\"none\">" + Escaped(sheet.after.note) + "</p>\n";
    const Shot &before = sheet.before, &after = sheet.after;
    if (before.width != after.width || before.height != after.height) {
        return "<div class=\"row\">" + Figure(before, "large") + Figure(after, "large") + "</div>\n";
    }
    const std::string name = Escaped(sheet.operation->name);
    return "<div class=\"compare\" style=\"--part:50%;max-width:" + std::to_string(before.width) + "px\">\n" +
           Picture(after, "after") + "\n<div class=\"over" + (before.alpha ? " checker" : "") + "\">" +
           Picture(before, "before") + "</div>\n<span class=\"tag left\">before</span><span class=\"tag right\">after" +
           "</span>\n<input type=\"range\" min=\"0\" max=\"100\" value=\"50\" aria-label=\"" + name +
           ": how much of the picture before is shown\">\n</div>\n";
}

std::string Rules(const Operation& operation) {
    std::string text = "<details><summary>Rules</summary>\n<dl>\n";
    for (const auto& [name, value] : RuleLines(operation)) {
        text += "<dt>" + Escaped(name) + "</dt><dd>" + Escaped(value) + "</dd>\n";
    }
    return text + "</dl>\n</details>\n";
}

std::string Section(const Sheet& sheet) {
    const Operation& operation = *sheet.operation;
    const std::string name = Escaped(operation.name);
    return "<section id=\"" + name + "\" aria-labelledby=\"h-" + name + "\">\n<h2 id=\"h-" + name + "\">" + name +
           "</h2>\n<p class=\"summary\">" + Escaped(operation.summary) + ". " + Escaped(operation.details) + "</p>\n" +
           Comparison(sheet) + "<pre tabindex=\"0\"><code>" +
           Escaped(ExampleLine(operation) + "\n" + PythonLine(operation)) + "</code></pre>\n" +
           (sheet.hash.empty() ? "" : "<p class=\"hash\">result <code>" + sheet.hash + "</code></p>\n") +
           Row("Along --" + Escaped(operation.mainParameter), sheet.strip, "small") +
           Row("Each depth", sheet.depths, "small") + Row("Corners", sheet.corners, "pixels") + Rules(operation) +
           "</section>\n";
}

std::string Navigation(const std::vector<Sheet>& sheets) {
    std::string text =
        "<nav aria-label=\"Operations\">\n<input id=\"find\" type=\"search\" placeholder=\"find an operation\" "
        "aria-label=\"Find an operation\">\n";
    std::string component;
    for (const Sheet& sheet : sheets) {
        if (sheet.operation->component != component) {
            text += (component.empty() ? "" : "</ul>\n") + std::string("<h2>") +
                    Escaped(sheet.operation->component.substr(3)) + "</h2>\n<ul>\n";
            component = sheet.operation->component;
        }
        const std::string name = Escaped(sheet.operation->name);
        text += "<li><a href=\"#" + name + "\">" + name + "</a></li>\n";
    }
    return text + "</ul>\n<h2>More</h2>\n<ul><li><a href=\"#methods\">sampling methods</a></li></ul>\n</nav>\n";
}

}  // namespace

std::string GalleryPage(const std::vector<Sheet>& sheets, const std::vector<Shot>& methods) {
    std::string page =
        "<!doctype html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
        "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
        "<link rel=\"icon\" href=\"data:,\">\n<title>VELMaths in pictures</title>\n<style>\n";
    page += kGalleryStyle;
    page +=
        "</style>\n</head>\n<body>\n<a class=\"skip\" href=\"#content\">Skip to the pictures</a>\n"
        "<header><h1>VELMaths in pictures</h1><p>Every operation before and after, along its main parameter, at "
        "each depth. Drag the slider, or focus it and use the arrow keys.</p></header>\n";
    page += Navigation(sheets);
    page += "<main id=\"content\">\n";
    for (const Sheet& sheet : sheets) page += Section(sheet);
    page +=
        "<section id=\"methods\" aria-labelledby=\"h-methods\">\n<h2 id=\"h-methods\">sampling methods</h2>\n"
        "<p class=\"summary\">The sixteen methods on the same detail, turned by 12 degrees and enlarged. Some of "
        "their kernels do not sum to 1 on purpose: they brighten or darken.</p>\n";
    page += Row("Detail", methods, "pixels");
    page += "</section>\n</main>\n<script>\n";
    page += kGalleryScript;
    return page + "</script>\n</body>\n</html>\n";
}

}  // namespace veltool
