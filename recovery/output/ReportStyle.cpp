#include "recovery/output/ReportStyle.h"

namespace talvek::recovery::output {

const std::string_view kReportStyle = R"css(
:root{color-scheme:light dark;--paper:#fbfbfa;--card:#fff;--ink:#1d1d1f;--soft:#5c5c62;--line:#e0e0de;
--link:#0a58b0;--ok:#1b6e3c;--okbg:#e3f3e8;--maybe:#4b5563;--maybebg:#eceef1;--part:#8a5300;--partbg:#fcefd6;
--lost:#a3232d;--lostbg:#fbe4e5;--c1:#d3d3d1;--c2:#e6e6e4;
--m0:#3b4252;--m1:#8f7fb8;--m2:#2f6fb3;--m3:#57a9d8;--m4:#7fb5a5;--m5:#d9a441;--m6:#ededeb;--m7:#c9c9c6}
@media(prefers-color-scheme:dark){:root{--paper:#19191b;--card:#232326;--ink:#f0f0f1;--soft:#a5a5ad;
--line:#3a3a3f;--link:#7db8ff;--ok:#7fd49b;--okbg:#173524;--maybe:#c2c8d0;--maybebg:#33363b;--part:#f2bd66;
--partbg:#42300f;--lost:#ff9a9f;--lostbg:#4a1c20;--c1:#7d7d82;--c2:#8e8e93;
--m0:#aab2c4;--m1:#9a8bc6;--m2:#3f83cc;--m3:#5fb2e2;--m4:#7cb7a5;--m5:#d9a441;--m6:#2e2e31;--m7:#55555a}}
*{box-sizing:border-box}
body{margin:0;background:var(--paper);color:var(--ink);font:16px/1.5 system-ui,-apple-system,"Segoe UI",
Roboto,"Helvetica Neue",Arial,sans-serif}
main{max-width:60rem;margin:0 auto;padding:2.5rem 1.25rem 4rem}
h1{font-size:1rem;font-weight:600;color:var(--soft);margin:0 0 .6rem;overflow-wrap:anywhere}
h2{font-size:1.15rem;margin:2.75rem 0 .75rem}
p{margin:.5rem 0}a{color:var(--link)}
.verdict{font-size:1.6rem;line-height:1.3;font-weight:600;margin:0 0 1rem;text-wrap:balance;
padding-left:1rem;border-left:.35rem solid var(--maybe)}
.verdict.whole{border-color:var(--ok)}.verdict.partial{border-color:var(--part)}.verdict.lost{border-color:var(--lost)}
.facts{color:var(--soft);margin:0}
.picture{margin:1.75rem 0 0}
.picture img{display:block;max-width:100%;max-height:36rem;width:auto;height:auto;margin:auto}
.tally{display:flex;flex-wrap:wrap;gap:.5rem;list-style:none;padding:0;margin:1rem 0 0}.tally li{margin:0}
.board{background:repeating-conic-gradient(var(--c1) 0 25%,var(--c2) 0 50%) 0 0/16px 16px}
.frame{background-color:var(--card);border:1px solid var(--line);border-radius:.6rem;overflow:hidden}
figcaption{color:var(--soft);font-size:.9rem;margin-top:.4rem}
.scroll{overflow-x:auto}
table{border-collapse:collapse;width:100%}
th{font-size:.85rem;font-weight:600;color:var(--soft);text-align:left;padding:.35rem .6rem;
border-bottom:1px solid var(--line)}
td{padding:.45rem .6rem;border-bottom:1px solid var(--line);vertical-align:middle}
td.thumb{width:4.6rem;padding-right:0}
td.thumb span{display:flex;width:3.75rem;height:3rem;align-items:center;justify-content:center;
border-radius:.3rem;overflow:hidden}
td.thumb img{max-width:3.75rem;max-height:3rem;display:block}
td.num,th.num{text-align:right;font-variant-numeric:tabular-nums;white-space:nowrap}
.name{font-weight:500;overflow-wrap:anywhere}.name a{color:inherit}
tr.group .name{font-weight:650}
.small{color:var(--soft);font-size:.85rem;overflow-wrap:anywhere}
.state{display:inline-block;padding:.1rem .55rem .1rem .45rem;border-radius:1rem;font-size:.85rem;font-weight:600;
white-space:nowrap}
.state.whole{color:var(--ok);background:var(--okbg)}.state.unproved{color:var(--maybe);background:var(--maybebg)}
.state.partial{color:var(--part);background:var(--partbg)}.state.lost{color:var(--lost);background:var(--lostbg)}
ul{padding-left:1.2rem;margin:.4rem 0}li{margin:.35rem 0;overflow-wrap:anywhere}
.map{display:block;width:100%;height:auto}
.m0{fill:var(--m0);background:var(--m0)}.m1{fill:var(--m1);background:var(--m1)}
.m2{fill:var(--m2);background:var(--m2)}.m3{fill:var(--m3);background:var(--m3)}
.m4{fill:var(--m4);background:var(--m4)}.m5{fill:var(--m5);background:var(--m5)}
.m6{fill:var(--m6);background:var(--m6)}.m7{fill:var(--m7);background:var(--m7)}
.stripe{fill:var(--lost)}.bad{fill:url(#stripes)}.gone{fill:var(--lost)}
.legend{display:flex;flex-wrap:wrap;gap:.3rem 1.4rem;list-style:none;padding:0;margin:.9rem 0 0;font-size:.9rem}
.legend i{display:inline-block;width:.85rem;height:.85rem;border-radius:.2rem;margin-right:.45rem;
vertical-align:-.08rem;border:1px solid var(--line)}
.legend .badkey{background:repeating-linear-gradient(135deg,var(--lost) 0 2px,transparent 2px 5px)}
footer{margin-top:3rem;color:var(--soft);font-size:.85rem}
@media(max-width:36rem){.verdict{font-size:1.3rem}td.wide,th.wide{display:none}}
@media print{:root{color-scheme:light}body{background:#fff;color:#000;font-size:10.5pt}main{max-width:none;padding:0}
h2{break-after:avoid}tr,figure,svg{break-inside:avoid}thead{display:table-header-group}
*{print-color-adjust:exact;-webkit-print-color-adjust:exact}}
)css";

} // namespace talvek::recovery::output
