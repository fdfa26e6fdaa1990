# The chart of scripts/bench. Needs: data, the tab-separated ratios; picture, the PNG to write.
set datafile separator "\t"
set datafile missing "-"
stats data using 0 nooutput
rows = int(STATS_records)
name(row) = system(sprintf("awk -F'\t' 'NR == %d { print $1 }' '%s'", row + 1, data))
half = 0.3 # of a bar's height

set terminal pngcairo size 1200, 150 + 34 * rows font "DejaVu Sans,11" background "#ffffff"
set output picture
set multiplot layout 1, 2
set style fill solid noborder
set logscale x
set grid xtics lc "#dddddd"
set border 1 lc "#888888"
set xtics nomirror scale 0.5 textcolor "#444444"
set yrange [rows - 0.4 : -0.6]
set tmargin 5
set key above left horizontal samplen 1.5

# Left: how many times the baseline takes what the library takes.
set title "Times faster than the baseline, the obvious way"
set lmargin at screen 0.25
set rmargin at screen 0.60
set ytics nomirror scale 0 textcolor "#222222" (name(0) 0)
do for [row = 1:rows - 1] {
  set ytics add (name(row) row)
}
set xrange [1:300]
plot data using 2:0:(1):2:($0 - half):($0 + half) with boxxyerror lc "#3b7dbd" title "measured", \
     data using 3:($0 - half - 0.1):(0):(2 * half + 0.2) with vectors nohead lw 3 lc "#d1495b" title "target", \
     data using (300):0:(sprintf("%.3g", $2)) with labels right font ",9" notitle, \
     data using (1.1):($0 + half + 0.2):6 with labels left font ",8" textcolor "#d1495b" notitle

# Right: how many times the library takes what the limit takes.
set title "Times what the limit takes"
set lmargin at screen 0.65
set rmargin at screen 0.97
unset ytics
set xrange [0.5:30]
plot data using 4:0:(0.5):4:($0 - half):($0 + half) with boxxyerror lc "#6aa56a" title "measured", \
     data using 5:($0 - half - 0.1):(0):(2 * half + 0.2) with vectors nohead lw 3 lc "#d1495b" title "target, at most", \
     data using (30):0:(sprintf("%.3g", $4)) with labels right font ",9" notitle, \
     data using (0.53):($0 + half + 0.2):7 with labels left font ",8" textcolor "#d1495b" notitle
