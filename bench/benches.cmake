# tessel_bench(NAME PEER_LIBRARY...)
tessel_bench(factorisations lapacke openblas)
tessel_bench(regression)
