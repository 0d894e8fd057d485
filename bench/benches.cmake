# tessel_bench(NAME PEER_LIBRARY...)
tessel_bench(algebra lua5.4)
tessel_bench(special gsl gslcblas)
tessel_bench(columns lapacke openblas)
