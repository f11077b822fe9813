#include "pscol/picture/Palette.h"

#include <array>

namespace pscol::picture {

namespace {

struct Colour {
  const char* name;
  const char* light;
  const char* dark;
};

// Texts have a contrast of at least 4.5 to what they stand on, and bars one of 3 to `empty`.
constexpr std::array<Colour, 19> colours{{
    {"bg", "#ffffff", "#14171c"},      {"panel", "#f4f6f8", "#1d222a"}, {"ink", "#1a1d21", "#e8eaee"},
    {"ink2", "#57606d", "#a6b0bd"},    {"line", "#c3c9d2", "#485261"},  {"grid", "#e3e7ec", "#2c343f"},
    {"empty", "#e9edf1", "#2a313b"},   {"full", "#1f6fb4", "#5aa9e6"},  {"half", "#9e5d00", "#e0a030"},
    {"low", "#c0321f", "#ff7d68"},     {"inner", "#6b7480", "#8b95a3"}, {"path", "#a0178c", "#f08be0"},
    {"ok", "#1b7a4b", "#5cc794"},      {"m-obj", "#b9d8f0", "#1f4a6e"}, {"m-tree", "#f3d9a8", "#5f4512"},
    {"m-hash", "#dccbef", "#4c3568"},  {"m-lib", "#cfe6d6", "#21503a"}, {"m-free", "#e4e7eb", "#343c47"},
    {"m-slack", "#f1f3f5", "#272d36"},
}};

std::string properties(const char* Colour::*scheme) {
  std::string text;
  for (const Colour& colour : colours) text += std::string("--") + colour.name + ":" + colour.*scheme + ";";
  return text;
}

}  // namespace

const char* const fontFamily = "system-ui,'Segoe UI',Roboto,'Helvetica Neue',Arial,sans-serif";

std::string colourStyles() {
  return ":root{color-scheme:light dark;" + properties(&Colour::light) + "}@media(prefers-color-scheme:dark){:root{" +
         properties(&Colour::dark) + "}}";
}

std::string pictureStyles() {
  std::string text = std::string("svg.p{font:12px ") + fontFamily;
  text +=
      ";font-variant-numeric:tabular-nums;fill:var(--ink)}"
      // Most texts have an edge of what they stand on, so that lines do not run into them.
      "svg.p text{paint-order:stroke;stroke:var(--bg);stroke-width:3px;stroke-linejoin:round}"
      "svg.p text.n{stroke:none}svg.p text.h{stroke:var(--empty)}svg.p text.v{stroke:none;fill:var(--bg)}"
      ".b{font-weight:600}.s{font-size:11px;fill:var(--ink2)}.j{font-size:11px}.e{text-anchor:end}.m{text-anchor:"
      "middle}"
      "svg.p text.tp,.tp{fill:var(--path)}"
      ".t{opacity:.38}.g{stroke:var(--grid)}.x{stroke:var(--line)}.d{stroke:var(--ink);stroke-dasharray:2 3}"
      ".u{stroke:var(--bg);stroke-width:2;opacity:.55}.o{fill:none;stroke:var(--path);stroke-width:2}"
      ".l{fill:var(--path);opacity:.1}.k{fill:none;stroke:var(--ink);stroke-width:2}.r{fill:var(--bg)}"
      ".c{shape-rendering:crispEdges}.f{stroke:var(--bg);stroke-width:1}";
  for (const char* name : {"full", "half", "low", "inner", "empty", "path", "ok"})
    text += std::string(".f-") + name + "{fill:var(--" + name + ")}";
  for (const char* name : {"obj", "tree", "hash", "lib", "free", "slack"})
    text += std::string(".m-") + name + "{fill:var(--m-" + name + ")}";
  return text;
}

}  // namespace pscol::picture
