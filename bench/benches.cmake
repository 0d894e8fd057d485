# tessel_bench(NAME PEER_LIBRARY...)
tessel_bench(products openblas)
tessel_bench(symmetric lapacke openblas)
tessel_bench(factorisations lapacke openblas)
