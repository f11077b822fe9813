# gnuplot -c plot.gp comparison.csv comparison.svg: what a hit costs, against the number of elements.

set terminal svg size 1000,430 font 'sans-serif,13' background rgb 'white'
set output ARG2
set datafile separator ','
set datafile columnheaders
set datafile missing NaN
set multiplot layout 1,2 margins 0.07,0.80,0.13,0.90 spacing 0.07

set logscale xy
set xrange [8000:6500000]
set xtics ('10k' 10000, '100k' 100000, '1M' 1000000, '5M' 5000000)
set format y '%.0f'
set ytics (20, 50, 100, 200, 500, 1000, 2000, 5000, 10000)
set yrange [15:15000]
set grid xtics ytics lc rgb '#dddddd' lt 1 lw 0.5
set border 3 lc rgb '#555555'
set tics nomirror textcolor rgb '#333333'
set xlabel 'elements in the set' textcolor rgb '#333333'

options = 'tree hash lmdb rocksdb sqlite std::set absl::btree_set std::unordered_set'
names = 'psTreeSet psHashSet LMDB RocksDB SQLite std::set absl::btree\_set std::unordered\_set'
colours = '#0060c0 #d04000 #202020 #707070 #a0a0a0 #309030 #80b030 #a060b0'
types = '7 5 9 11 13 6 4 8'
cost(keys, option) = strcol(1) eq keys && strcol(4) eq 'hit' && strcol(3) eq option ? column(6) : NaN
width(i) = i <= 2 ? 3 : 1.5

unset key
set title 'Hit by content, ns' textcolor rgb '#333333'
plot for [i=1:words(options)] ARG1 using 2:(cost('content', word(options, i))) \
  with linespoints lc rgb word(colours, i) lw width(i) pt (word(types, i) + 0) ps 0.8

unset ylabel
set title 'Hit by identifier, ns'
set key at screen 0.99,0.86 right top samplen 2 spacing 1.3 textcolor rgb '#333333'
plot for [i=1:words(options)] ARG1 using 2:(cost('identifier', word(options, i))) \
  with linespoints lc rgb word(colours, i) lw width(i) pt (word(types, i) + 0) ps 0.8 title word(names, i)
unset multiplot
