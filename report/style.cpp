#include "report/style.h"

namespace libmfx::host::report {

// Two columns of pictures leave no gaps between tall and flat ones, and fill a sheet of paper.
const char* const kPageStyle = R"(
:root { color-scheme: light dark; --ink: #222; --soft: #555; --page: #fff; --rule: #ccc;
  --faint: #e8e8e8; --box: #f6f6f6; --good: #1a7f37; --good-box: #edf7ef; --doubtful: #b36b00;
  --doubtful-box: #fff6e5; --bad: #c8102e; --bad-box: #fdeeee; }
* { box-sizing: border-box; }
body { font: 15px/1.45 sans-serif; color: var(--ink); background: var(--page); max-width: 1000px;
  margin: 0 auto; padding: 1.5rem; overflow-wrap: anywhere; }
h1 { font-size: 1.5rem; line-height: 1.2; margin: 0 0 .2rem; }
h2 { font-size: 1.1rem; margin: 1.6rem 0 .5rem; border-bottom: 1px solid var(--rule); }
.verdict { padding: .6rem .9rem; border-left: 6px solid; margin: .8rem 0; }
.good { border-color: var(--good); background: var(--good-box); }
.doubtful { border-color: var(--doubtful); background: var(--doubtful-box); }
.bad { border-color: var(--bad); background: var(--bad-box); }
.verdict b { font-size: 1.1rem; }
.verdict ul { margin: .3rem 0 0; padding-left: 1.2rem; }
table { border-collapse: collapse; margin: .3rem 0; }
th, td { text-align: left; vertical-align: top; padding: .15rem .9rem .15rem 0; }
th { font-weight: normal; color: var(--soft); }
th { min-width: 6em; }
.message th { white-space: nowrap; }
td { font-variant-numeric: tabular-nums; }
.legend i { font-style: normal; }
table.list th { border-bottom: 1px solid var(--rule); }
table.list td { border-bottom: 1px solid var(--faint); }
.numbers { display: flex; flex-wrap: wrap; gap: 0 2rem; }
.numbers > section { flex: 1 1 26rem; min-width: 0; }
table.quantities { width: 100%; }
.quantities th { min-width: 0; white-space: nowrap; }
.quantities .number { text-align: right; }
.quantities td.number { white-space: nowrap; }
.quantities small { display: block; color: var(--soft); font-size: .85em; white-space: normal; }
.quantities .as-told td { color: var(--soft); }
.quantities .off td, .quantities .off small { color: var(--doubtful); }
.pictures { columns: 2 400px; column-gap: 1.2rem; }
figure { margin: 0 0 1.2rem; break-inside: avoid; }
figure h3 { font-size: 1rem; margin: .2rem 0; }
figure > svg { display: block; width: 100%; height: auto; }
figcaption, .legend, .note { color: var(--soft); font-size: .85rem; }
.legend span { white-space: nowrap; }
pre { background: var(--box); padding: .7rem; white-space: pre-wrap; font-size: .8rem; }
@media (max-width: 560px) {
  body { padding: .9rem; }
  th, td { padding-right: .4rem; }
  .list { font-size: .8rem; }
}
@media screen and (prefers-color-scheme: dark) {
  :root { --ink: #ddd; --soft: #a3a3a3; --page: #16181b; --rule: #4a4d52; --faint: #303338;
    --box: #202327; --good: #4cc26b; --good-box: #16291b; --doubtful: #f0a63c;
    --doubtful-box: #30240f; --bad: #ff6b78; --bad-box: #351a1d; }
}
@media print {
  :root { color-scheme: light; font-size: 12px; }
  @page { margin: 14mm; }
  body { max-width: none; padding: 0; font-size: 11px; }
  h2 { margin: 1rem 0 .3rem; }
  h2, .legend { break-after: avoid; }
  th, td { padding-top: .08rem; padding-bottom: .08rem; }
  .verdict { padding: .4rem .8rem; margin: .5rem 0; }
  pre { orphans: 6; widows: 6; }
  tr, .verdict, .legend { break-inside: avoid; }
  .numbers > section { flex-basis: 370px; }
  .numbers > section + section { flex-basis: 260px; }
  .pictures { columns: 2; }
  figure > svg { max-height: 58mm; }
  .good, .doubtful, .bad { print-color-adjust: exact; }
}
)";

// Five columns need the width of the page. The bars stand beside the column of their numbers, on a
// narrow screen below them.
const char* const kSpreadStyle = R"(
.numbers > section:first-child { flex-basis: 100%; }
svg .spread { fill: var(--measured); fill-opacity: .18; stroke: var(--measured); stroke-width: 1.2; }
.quantities .margin { padding-right: calc(100px + 1.6rem); }
.quantities svg.bar { width: 100px; height: 14px; margin: 0 calc(-100px - .7rem) 0 .7rem;
  vertical-align: -2px; }
svg.bar line { stroke: var(--ink); stroke-width: 1.5; }
svg.bar circle { fill: var(--measured); }
@media (max-width: 560px) {
  .quantities { font-size: .74rem; }
  .quantities .margin { padding-right: .2rem; }
  .quantities td.margin { white-space: normal; }
  .quantities svg.bar { display: block; width: 58px; height: 9px; margin: 0 0 0 auto; }
}
)";

}  // namespace libmfx::host::report
