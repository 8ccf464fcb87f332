#include "host/html.h"

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
<meta http-equiv="Content-Security-Policy" content="default-src 'none'; style-src 'unsafe-inline'; img-src data:">
<link rel="icon" href="data:,">
<title>)";
constexpr char kAfterTitle[] = R"(</title>
<style>
:root { color-scheme: light dark; --ink: #1d2329; --soft: #5b6570; --paper: #ffffff; --panel: #f4f6f8; --line: #d5dbe1;
  --keep: #1f7a4d; --dup: #b3541e; --mark: #fff0c2; --focus: #1a5fb4; }
@media (prefers-color-scheme: dark) { :root { --ink: #e4e8ec; --soft: #9aa5b1; --paper: #15191d; --panel: #1f252b;
  --line: #36404a; --keep: #5cc795; --dup: #f0a06a; --mark: #4a3f14; --focus: #78aeed; } }
* { box-sizing: border-box; }
body { margin: 0 auto; max-width: 76rem; padding: 1.2rem; background: var(--paper); color: var(--ink);
  font: 16px/1.5 system-ui, "Segoe UI", sans-serif; }
h1 { font-size: 1.6rem; margin: 0 0 .3rem; } h2 { font-size: 1.2rem; margin: 2rem 0 .6rem; }
p { margin: .3rem 0; } .soft { color: var(--soft); }
:focus-visible { outline: 3px solid var(--focus); outline-offset: 2px; }
.bars { display: grid; grid-template-columns: minmax(8rem, 22rem) 1fr auto; gap: .3rem .8rem; align-items: center; }
.bars .row { display: contents; } .bars .name { overflow-wrap: anywhere; min-width: 0; }
.bar { display: flex; height: .9rem; background: var(--panel); border: 1px solid var(--line); border-radius: .2rem; overflow: hidden; }
.bar span { display: block; } .bar .kept { background: var(--keep); } .bar .dup { background: var(--dup); }
.count { text-align: right; font-variant-numeric: tabular-nums; white-space: nowrap; }
.legend i { display: inline-block; width: .8rem; height: .8rem; border-radius: .15rem; margin: 0 .3rem 0 .8rem; }
details.group { border: 1px solid var(--line); border-radius: .4rem; margin: .5rem 0; background: var(--panel); }
details.group > summary { padding: .5rem .8rem; cursor: pointer; overflow-wrap: anywhere; }
details.group > div { padding: 0 .8rem .8rem; overflow-x: auto; }
summary b { font-weight: 600; }
table { border-collapse: collapse; width: 100%; background: var(--paper); font-size: .92rem; }
th, td { border: 1px solid var(--line); padding: .3rem .5rem; text-align: left; vertical-align: top; overflow-wrap: anywhere;
  min-width: 9rem; white-space: pre-wrap; }
th[scope=row] { min-width: 7rem; font-weight: 500; } tr.differs td { background: var(--mark); }
.role { display: block; font-weight: 600; } .keep { color: var(--keep); } .duplicate { color: var(--dup); }
.near li { margin: .3rem 0; overflow-wrap: anywhere; }
.losses { margin: .4rem 0; padding-left: 1.2rem; overflow-wrap: anywhere; }
@media (max-width: 40rem) { body { padding: .7rem; } .bars { display: block; }
  .bars .row { display: grid; grid-template-columns: 1fr auto; gap: .1rem .6rem; margin: .5rem 0; align-items: end; }
  .bars .bar { grid-row: 2; grid-column: 1 / -1; } th, td { min-width: 7rem; } }
@media print { body { max-width: none; } details::details-content { content-visibility: visible; block-size: auto; }
  details.group > div { overflow: visible; } th, td { min-width: 0; } tr { break-inside: avoid; } }
</style>
</head>
<body>
)";

}  // namespace

std::string HtmlHead(const std::string& generator, const std::string& title) {
    return kBeforeGenerator + generator + kBeforeTitle + Escape(title) + kAfterTitle;
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
