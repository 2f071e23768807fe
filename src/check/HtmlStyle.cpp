#include "check/HtmlParts.h"

namespace zumra::check {

std::string_view HtmlStyle() {
    return R"css(
:root {
  color-scheme: light dark;
  --page: #f4f5f7; --card: #ffffff; --line: #e1e5ea; --ink: #18212c; --soft: #5a6675;
  --passed: #1f8a56; --failed: #c7293b; --error: #a1490b; --notrun: #8a95a3;
  --wash: #eaf6ef; --badwash: #fdecee; --track: #eceff3;
}
@media (prefers-color-scheme: dark) {
  :root {
    --page: #10151b; --card: #191f27; --line: #2a323d; --ink: #e7ebf0; --soft: #9ca8b6;
    --passed: #43b97f; --failed: #ff6675; --error: #f0a04b; --notrun: #6d7988;
    --wash: #14281f; --badwash: #321a1f; --track: #242c36;
  }
}
* { box-sizing: border-box; }
body {
  margin: 0; padding: 2.5rem 1.25rem 4rem; background: var(--page); color: var(--ink);
  font: 16px/1.5 system-ui, -apple-system, "Segoe UI", Roboto, "Helvetica Neue", sans-serif;
  overflow-wrap: anywhere;
}
header, main { max-width: 74rem; margin: 0 auto; }
h1 { margin: 0; font-size: clamp(1.6rem, 1.2rem + 2vw, 2.4rem); line-height: 1.15; letter-spacing: -.02em; }
h2 { margin: 0 0 .9rem; font-size: 1.15rem; }
h3 { margin: 1.4rem 0 .5rem; font-size: .95rem; color: var(--soft); font-weight: 600; }
code, .mono { font-family: ui-monospace, "SF Mono", Menlo, Consolas, "DejaVu Sans Mono", monospace; font-size: .86em; }
a { color: inherit; }
section, .verdict {
  margin-top: 1.25rem; padding: 1.5rem; background: var(--card); border: 1px solid var(--line); border-radius: 14px;
}
.soft { color: var(--soft); }

.verdict { display: flex; gap: 1.75rem; align-items: center; margin-top: 0; border-top: 5px solid var(--passed); }
.verdict.bad { border-top-color: var(--failed); }
.verdict .words { min-width: 0; flex: 1; }
.verdict p { margin: 0 0 .3rem; }
.ring {
  flex: none; width: 7rem; height: 7rem; border-radius: 50%; display: grid; place-items: center;
  font-size: 1.5rem; font-weight: 700; font-variant-numeric: tabular-nums;
}
.ring span {
  display: grid; place-items: center; width: 5.3rem; height: 5.3rem; border-radius: 50%; background: var(--card);
}
.numbers { display: flex; flex-wrap: wrap; gap: .4rem 1.6rem; margin: .9rem 0 0; }
.numbers div { display: flex; gap: .4rem; align-items: baseline; }
.numbers dt { color: var(--soft); order: 2; }
.numbers dd { margin: 0; font-weight: 650; font-size: 1.15rem; font-variant-numeric: tabular-nums; }
.numbers .some.passed dd { color: var(--passed); }
.numbers .some.failed dd { color: var(--failed); }
.numbers .some.error dd { color: var(--error); }

.broken p { margin: 0; }
.broken { border-color: var(--failed); background: var(--badwash); }
.failure { padding: .9rem 1.1rem; margin-top: .8rem; border-left: 4px solid var(--failed); border-radius: 6px;
  background: var(--badwash); }
.failure.error { border-left-color: var(--error); }
.failure.notrun { border-left-color: var(--notrun); background: var(--track); }
.failure p { margin: 0; }
.failure pre { margin: .5rem 0 .35rem; white-space: pre-wrap; max-height: 22rem; overflow-y: auto; }
.failure b { font-weight: 650; }

table { width: 100%; border-collapse: collapse; }
.grid th { text-align: left; font-weight: 600; }
.grid thead th { padding: 0 .8rem .5rem 0; color: var(--soft); font-size: .85rem; vertical-align: bottom; }
.grid tbody th, .grid td { padding: .55rem .8rem .55rem 0; border-top: 1px solid var(--line); vertical-align: top; }
.grid tbody th { width: 15rem; font-size: .92rem; }
.tiles { display: flex; flex-wrap: wrap; gap: 3px; max-width: 16rem; padding-top: .2rem; }
.tile {
  width: 15px; height: 15px; border-radius: 4px; background: var(--passed); color: #fff; text-decoration: none;
  font: 700 11px/15px system-ui, sans-serif; text-align: center;
}
.tile.failed { background: var(--failed); }
.tile.failed::before { content: "\00d7"; }
.tile.error { background: var(--error); }
.tile.error::before { content: "!"; }
.tile.notrun { background: none; box-shadow: inset 0 0 0 1.5px var(--notrun); }
@media (prefers-color-scheme: dark) { .tile { color: #10151b; } }
.tile:hover, .tile:focus-visible { outline: 2px solid var(--ink); outline-offset: 1px; }
.legend { display: flex; flex-wrap: wrap; gap: .3rem 1.1rem; margin: 1rem 0 0; font-size: .85rem; }
.legend span { display: flex; gap: .4rem; align-items: center; }

.checks { list-style: none; margin: 0; padding: 0; }
.checks li, summary {
  display: grid; grid-template-columns: 1.1rem minmax(0, 1fr) minmax(5rem, 14rem) 4.6rem; gap: .7rem;
  align-items: center; padding: .22rem 0;
}
.checks li { font-size: .9rem; scroll-margin-top: 1rem; }
.checks li:target { background: var(--track); border-radius: 6px; }
.checks .tile { align-self: center; }
details { border-top: 1px solid var(--line); }
details .checks { padding: .1rem 0 .8rem; }
summary { padding: .6rem 0; cursor: pointer; list-style: none; }
summary::-webkit-details-marker { display: none; }
summary::before { content: "\203a"; color: var(--soft); font-size: 1.3rem; line-height: 1; text-align: center; }
details[open] > summary::before { transform: rotate(90deg); }
summary b { font-weight: 600; }
.bar { height: 9px; border-radius: 5px; background: var(--track); overflow: hidden; }
.bar i { display: block; height: 100%; min-width: 2px; border-radius: 5px; background: var(--passed); opacity: .85; }
.bar.failed i { background: var(--failed); }
.bar.error i { background: var(--error); }
.bar.notrun i { background: none; }
.time { text-align: right; color: var(--soft); font-variant-numeric: tabular-nums; font-size: .88rem; white-space: nowrap; }

.facts { display: grid; grid-template-columns: minmax(7rem, auto) minmax(0, 1fr); gap: .45rem 1.4rem; margin: 0; }
.facts dt { color: var(--soft); }
.facts dd { margin: 0; }

@media (max-width: 720px) {
  body { padding: 1rem .75rem 2.5rem; }
  section, .verdict { padding: 1.1rem; }
  .verdict { display: grid; grid-template-columns: auto minmax(0, 1fr); gap: 0 1.1rem; }
  .verdict .words { display: contents; }
  .verdict p { align-self: end; }
  .verdict h1 { align-self: start; }
  .ring { grid-row: 1 / 3; width: 4.6rem; height: 4.6rem; font-size: 1rem; }
  .ring span { width: 3.5rem; height: 3.5rem; }
  .numbers { grid-column: 1 / 3; gap: .3rem 1.3rem; }
  .grid thead { position: absolute; clip-path: inset(50%); width: 1px; height: 1px; overflow: hidden; }
  .grid, .grid tbody, .grid tr, .grid th, .grid td { display: block; }
  .grid tr { padding: .7rem 0; border-top: 1px solid var(--line); }
  .grid tbody th, .grid td { width: auto; border: 0; padding: .15rem 0; }
  .grid td::before { content: attr(data-mode); color: var(--soft); font-size: .85rem; }
  .grid td:empty { display: none; }
  .tiles { max-width: none; padding-top: 0; }
  .checks li, summary { grid-template-columns: 1.1rem minmax(0, 1fr) 4.6rem; gap: .25rem .6rem; }
  .checks li .bar, summary .bar { grid-column: 2 / 4; grid-row: 2; }
  .facts { grid-template-columns: minmax(0, 1fr); gap: 0; }
  .facts dd { margin-bottom: .7rem; }
}
@media print { body { background: none; padding: 0; } section, .verdict { break-inside: avoid-page; } }
)css";
}

}  // namespace zumra::check
