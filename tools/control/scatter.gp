# gnuplot -c scatter.gp DATA PICTURE KINDS POLICIES TITLES: energy against waiting, a panel for each of so many kinds of
# work. Policies lie between blanks; each kind's title has a line feed at its end.
set encoding utf8
data = ARG1
picture = ARG2
kinds = int(ARG3)
policies = ARG4
titles = ARG5
rows = (kinds + 2) / 3
set terminal svg size 1200,130+330*rows font "DejaVu Sans,12" background rgb "white"
set output picture
set multiplot layout rows,3 title "What each policy pays: energy, and waiting (lower left is better)" font ",16" \
    margins 0.065,0.985,0.075,0.86 spacing 0.05,0.13
set grid lc rgb "#dddddd" lt 1
set border 3 lc rgb "#666666"
set tics nomirror
# The same scale in every panel, wider where a point needs it.
set xrange [0.8:5.4<*]
set yrange [*<0.5:1.04<*]
# Okabe and Ito's colours, which can be told apart by everybody.
array colour[6] = ["#D55E00", "#000000", "#0072B2", "#E69F00", "#009E73", "#CC79A7"]
array shape[6] = [7, 5, 9, 13, 11, 15]
do for [kind=0:kinds-1] {
    feed = strstrt(titles, "\n")
    set title titles[1:feed - 1] offset 0,-0.6 noenhanced
    titles = titles[feed + 1:*]
    if (kind >= kinds - 3) { set xlabel "slowdown of the slowest 5%, times" offset 0,0.4 } else { unset xlabel }
    if (kind % 3 == 0) { set ylabel "energy per work, of always-10000" offset 1.5,0 } else { unset ylabel }
    if (kind == 0) { set key at screen 0.5,0.945 center horizontal maxrows 1 samplen 1 width 2 noenhanced } else { unset key }
    plot for [p=1:6] data index kind every ::p-1::p-1 using 1:2 with points pt shape[p] ps (p == 1 ? 1.6 : 1.1) \
        lc rgb colour[p] title word(policies, p)
}
unset multiplot
