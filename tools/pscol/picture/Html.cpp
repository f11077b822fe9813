#include "pscol/picture/Html.h"

#include "pscol/picture/Numbers.h"
#include "pscol/picture/Palette.h"
#include "pscol/picture/Text.h"

namespace pscol::picture {

namespace {

constexpr std::size_t longestText = 400;

const char* classOf(HtmlTable::Align align) {
  switch (align) {
    case HtmlTable::Align::left:
      return "";
    case HtmlTable::Align::right:
      return " class=\"r\"";
    case HtmlTable::Align::wrap:
      return " class=\"wr\"";
  }
  return "";
}

}  // namespace

std::string pageStyles() {
  return std::string(
             "*{box-sizing:border-box}html{-webkit-text-size-adjust:100%}"
             "body{margin:0;background:var(--bg);color:var(--ink);font:15px/1.5 ") +
         fontFamily +
         "}main,header{max-width:1104px;margin:0 auto;padding:0 32px}header{padding-top:28px}"
         "h1{font-size:24px;line-height:1.25;margin:0 0 4px;overflow-wrap:anywhere}"
         "h2{font-size:18px;margin:44px 0 10px;padding-top:14px;border-top:1px solid var(--line)}"
         "h3{font-size:15px;margin:30px 0 2px;overflow-wrap:anywhere}"
         "p{margin:4px 0 12px;max-width:72ch;overflow-wrap:anywhere}.q{color:var(--ink2)}"
         "nav{margin:14px 0 0;display:flex;flex-wrap:wrap;gap:4px 18px}nav a{white-space:nowrap}a{color:var(--full)}"
         "a:focus-visible,summary:focus-visible,.tw:focus-visible{outline:2px solid var(--path);outline-offset:2px}"
         "dl.k{display:grid;grid-template-columns:repeat(5,1fr);gap:1px;background:var(--line);"
         "border:1px solid var(--line);margin:18px 0}dl.k div{background:var(--bg);padding:10px 12px}"
         "dt{color:var(--ink2);font-size:12px}dd{margin:0;font-size:20px;line-height:1.3;"
         "font-variant-numeric:tabular-nums}dd small{display:block;font-size:12px;color:var(--ink2)}"
         "ul.a{list-style:none;margin:10px 0;padding:0}"
         "ul.a li{padding:6px 0 6px 84px;position:relative;max-width:96ch;overflow-wrap:anywhere}"
         "ul.a li b.w{position:absolute;left:0;font-size:12px;line-height:1.9;font-weight:600}"
         ".w.low{color:var(--low)}.w.half{color:var(--half)}.w.ok{color:var(--ok)}"
         ".verdict{border-left:5px solid;padding:8px 14px;background:var(--panel);margin:16px 0}"
         ".verdict.ok{border-color:var(--ok)}.verdict.low{border-color:var(--low)}.verdict.half{border-color:var(--"
         "half)}"
         ".verdict p{margin:2px 0}"
         ".tw{overflow-x:auto;margin:8px 0 4px}"
         "table{border-collapse:collapse;font-size:13px;font-variant-numeric:tabular-nums;width:100%}"
         "th,td{padding:5px 14px 5px 0;text-align:left;border-bottom:1px solid var(--grid);white-space:nowrap;"
         "vertical-align:top}th{font-weight:600;color:var(--ink2);border-color:var(--line)}td.r,th.r{text-align:right}"
         "td.wr{white-space:normal;min-width:250px;overflow-wrap:anywhere}"
         "code{font:12.5px ui-monospace,'DejaVu Sans Mono',Menlo,monospace}td code{font-size:12px}"
         "figure{margin:14px 0}svg.p{display:block;max-width:100%;height:auto}svg.narrow{display:none}"
         "details{margin:10px 0}summary{cursor:pointer;color:var(--full);padding:4px 0}"
         "footer{margin:48px 0 32px;color:var(--ink2);font-size:13px}"
         "@media(max-width:1167px){dl.k{grid-template-columns:repeat(auto-fit,minmax(148px,1fr))}}"
         "@media(max-width:1119px){svg.wide{display:none}svg.narrow{display:block;width:344px}}"
         "@media(max-width:719px){main,header{padding:0 16px}header{padding-top:18px}"
         "dl.k{grid-template-columns:1fr 1fr}dl.k div:last-child:nth-child(odd){grid-column:1/-1}"
         "ul.a li{padding-left:0}ul.a li b.w{position:static;display:block}}"
         "@media print{svg.narrow{display:none}svg.wide{display:block}h2{break-after:avoid}figure{break-inside:avoid}}";
}

std::string htmlText(const std::string& text) { return escaped(shortened(cleaned(text), longestText)); }

std::string htmlName(const std::string& name, std::size_t longest) {
  return "<code><bdi>" + escaped(shortened(cleaned(name), longest)) + "</bdi></code>";
}

void HtmlTable::add(const std::vector<std::string>& cells) {
  std::string row = "<tr>";
  for (std::size_t i = 0; i < cells.size(); ++i)
    row += std::string("<td") + classOf(columns_[i].align) + ">" + cells[i] + "</td>";
  row += "</tr>";
  if (leftOut_ > 0 || rows_.size() + row.size() > mostBytes_)
    ++leftOut_;
  else
    rows_ += row;
}

std::string HtmlTable::html(const std::string& more) const {
  std::string head;
  for (const Column& column : columns_)
    head += std::string("<th scope=\"col\"") + (column.align == Align::right ? " class=\"r\"" : "") + ">" +
            column.title + "</th>";
  std::string text = "<div class=\"tw\" tabindex=\"0\" role=\"region\" aria-label=\"" + label_ +
                     "\"><table><thead><tr>" + head + "</tr></thead><tbody>" + rows_ + "</tbody></table></div>";
  if (leftOut_ > 0) text += "<p class=\"q\">And " + counted(leftOut_) + " more: " + more + ".</p>";
  return text;
}

}  // namespace pscol::picture
