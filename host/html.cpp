#include "host/html.h"

#include "host/page_files.h"
#include "host/text.h"

namespace host {

namespace {

constexpr size_t kFoldFrom = 160;

constexpr char kBeforeGenerator[] = R"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="generator" content=")";
constexpr char kBeforeTitle[] = R"(">
<meta name="viewport" content="width=device-width, initial-scale=1">
<meta http-equiv="Content-Security-Policy" content="default-src 'none'; style-src 'unsafe-inline'; img-src data:; base-uri 'none'; form-action 'none')";
constexpr char kAfterPolicy[] = R"(">
<link rel="icon" href="data:,">
<title>)";
constexpr char kAfterTitle[] = R"(</title>
<style>
)";
constexpr char kAfterStyle[] = R"(</style>
</head>
<body>
)";

}  // namespace

std::string HtmlHead(const std::string& generator, const std::string& title, std::string_view script) {
    std::string html = kBeforeGenerator + generator + kBeforeTitle;
    if (!script.empty()) html.append("; script-src '").append(script).append("'");
    return html.append(kAfterPolicy)
        .append(Escape(title))
        .append(kAfterTitle)
        .append(kPageStyle)
        .append(kAfterStyle);
}

std::string Escape(std::string_view text) {
    std::string html;
    for (const char c : Visible(text)) {
        switch (c) {
            case '&':
                html += "&amp;";
                break;
            case '<':
                html += "&lt;";
                break;
            case '>':
                html += "&gt;";
                break;
            case '"':
                html += "&quot;";
                break;
            case '\'':
                html += "&#39;";
                break;
            case '\0':
                break;
            default:
                html += c;
        }
    }
    return html;
}

std::string Cell(const std::string& text) {
    if (Width(text) < kFoldFrom) return Escape(text);
    return "<details><summary>" + Escape(OneLine(Fit(text, kFoldFrom / 2))) + "</summary>" + Escape(text) +
           "</details>";
}

}  // namespace host
