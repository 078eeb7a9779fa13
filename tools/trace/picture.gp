# gnuplot -c picture.gp DATA PICTURE NAME: power, ceiling and PL1 over time, one above the other.
set encoding utf8
data = ARG1
picture = ARG2
name = ARG3
set terminal svg size 1100,720 font "DejaVu Sans,13" background rgb "white"
set output picture
set multiplot
set tics nomirror
set border 3 lc rgb "#666666"
set grid ytics lc rgb "#dddddd" lt 1
set key off
set xdata time
set timefmt "%s"
set format x ""
set xrange [0:*] noextend
set lmargin at screen 0.08
set rmargin at screen 0.97
set yrange [0:*]
set label 1 name." - what the processor drew, and what it was allowed" at screen 0.08,0.97 font ",15" noenhanced

set ylabel "power, W" offset 1,0
set tmargin at screen 0.93
set bmargin at screen 0.58
plot data index 0 using 1:2 with fillsteps fc rgb "#9ecae1" fs solid 0.6 noborder, data index 0 using 1:2 with steps lw 1.5 lc rgb "#08519c"
unset label 1

set ylabel "ceiling, preference"
set tmargin at screen 0.54
set bmargin at screen 0.26
set yrange [0:10500]
set ytics 0,2500,10000
plot data index 1 using 1:2 with steps lw 1.5 lc rgb "#d94801"

set ylabel "PL1, W"
set tmargin at screen 0.22
set bmargin at screen 0.09
set yrange [0:40]
set ytics 0,20,40
set xlabel "minutes : seconds"
set format x "%tM:%tS"
plot data index 1 using 1:3 with steps lw 1.5 lc rgb "#41793a"
unset multiplot
