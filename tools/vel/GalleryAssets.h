// Style and script of the gallery's page.
#pragma once

namespace veltool {

inline constexpr const char* kGalleryStyle = R"css(
:root { color-scheme: light dark; --ink: #1d2129; --dim: #5b6472; --paper: #ffffff; --line: #d9dee6; --mark: #0b62b5; }
@media (prefers-color-scheme: dark) {
  :root { --ink: #e6e9ee; --dim: #a3acb9; --paper: #15181d; --line: #343b46; --mark: #7db8f2; }
}
* { box-sizing: border-box; }
html { scroll-behavior: smooth; scroll-padding-top: 1rem; }
body { margin: 0; color: var(--ink); background: var(--paper); font: 16px/1.5 system-ui, sans-serif;
  display: grid; grid-template-columns: 15rem minmax(0, 1fr); grid-template-areas: "head head" "nav main"; }
header { grid-area: head; padding: 1.5rem 2rem 0.5rem; border-bottom: 1px solid var(--line); }
header h1 { margin: 0; } header p { margin: 0.25rem 0 0.5rem; color: var(--dim); }
nav { grid-area: nav; padding: 1rem 1rem 1rem 2rem; position: sticky; top: 0; align-self: start; max-height: 100vh;
  overflow-y: auto; font-size: 0.9rem; }
nav h2 { font-size: 0.8rem; text-transform: uppercase; letter-spacing: 0.05em; color: var(--dim); margin: 1rem 0 0.25rem; }
nav ul { list-style: none; margin: 0; padding: 0; } nav input { width: 100%; padding: 0.35rem 0.5rem; font: inherit; }
a { color: var(--mark); } nav a { text-decoration: none; display: block; padding: 0.1rem 0; }
nav a:hover { text-decoration: underline; }
main { grid-area: main; padding: 0 2rem 4rem; min-width: 0; }
section { padding: 1.5rem 0; border-bottom: 1px solid var(--line); }
section h2 { margin: 0; } section h3 { margin: 1.25rem 0 0.5rem; font-size: 0.95rem; color: var(--dim); }
.summary { max-width: 46rem; margin: 0.25rem 0 1rem; }
img { display: block; max-width: 100%; height: auto; }
.row { display: flex; flex-wrap: wrap; gap: 0.75rem; align-items: flex-start; }
figure { margin: 0; max-width: 100%; } .row.small figure { width: 200px; } figcaption { font-size: 0.8rem; color: var(--dim); margin-top: 0.2rem; }
img.small { width: auto; max-width: min(200px, 100%); }
img.pixels { width: 160px; height: auto; image-rendering: pixelated; }
.checker { background: repeating-conic-gradient(#c8c8c8 0 25%, #f4f4f4 0 50%) 0 0 / 16px 16px; }
.none { margin: 0; width: 200px; min-height: 4rem; padding: 0.6rem; border: 1px dashed var(--line); color: var(--dim);
  font-size: 0.8rem; }
.compare { position: relative; user-select: none; }
.compare img { width: 100%; }
.compare .over { position: absolute; inset: 0; clip-path: inset(0 calc(100% - var(--part)) 0 0); }
.compare::after { content: ""; position: absolute; top: 0; bottom: 0; left: var(--part); width: 2px; margin-left: -1px;
  background: #fff; box-shadow: 0 0 3px #000; pointer-events: none; }
.compare input { position: absolute; inset: 0; width: 100%; height: 100%; margin: 0; opacity: 0; cursor: ew-resize; }
.compare:focus-within { outline: 3px solid var(--mark); outline-offset: 2px; }
.tag { position: absolute; bottom: 0.5rem; padding: 0.1rem 0.45rem; font-size: 0.75rem; color: #fff;
  background: rgba(0, 0, 0, 0.6); border-radius: 3px; pointer-events: none; }
.tag.left { left: 0.5rem; } .tag.right { right: 0.5rem; }
pre { margin: 0.75rem 0 0; padding: 0.6rem 0.8rem; border: 1px solid var(--line); border-radius: 4px; overflow-x: auto; }
.hash { margin: 0.3rem 0 0; font-size: 0.8rem; color: var(--dim); }
details { margin-top: 1rem; } summary { cursor: pointer; }
dl { display: grid; grid-template-columns: max-content minmax(0, 1fr); gap: 0.2rem 1rem; font-size: 0.9rem; margin: 0.5rem 0 0; }
dt { color: var(--dim); } dd { margin: 0; }
.skip { position: absolute; left: -100vw; } .skip:focus { left: 1rem; top: 1rem; background: var(--paper); padding: 0.5rem; z-index: 2; }
@media (max-width: 48rem) {
  body { grid-template-columns: minmax(0, 1fr); grid-template-areas: "head" "nav" "main"; }
  nav { position: static; max-height: 14rem; padding: 1rem; border-bottom: 1px solid var(--line); }
  header, main { padding-left: 1rem; padding-right: 1rem; }
  dl { grid-template-columns: minmax(0, 1fr); } dt { margin-top: 0.3rem; }
}
@media (prefers-reduced-motion: reduce) { html { scroll-behavior: auto; } }
)css";

inline constexpr const char* kGalleryScript = R"js(
for (const box of document.querySelectorAll('.compare')) {
  const slider = box.querySelector('input');
  const show = () => box.style.setProperty('--part', slider.value + '%');
  slider.addEventListener('input', show);
  show();
}
const find = document.getElementById('find');
find.addEventListener('input', () => {
  const text = find.value.trim().toLowerCase();
  for (const item of document.querySelectorAll('nav li')) item.hidden = !item.textContent.includes(text);
});
)js";

}  // namespace veltool
