# tessel_bench(NAME PEER_LIBRARY...)
tessel_bench(special gsl gslcblas)
tessel_bench(limdep)
tessel_bench(volatility)
