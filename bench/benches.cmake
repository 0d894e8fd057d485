# tessel_bench(NAME PEER_LIBRARY...)
tessel_bench(limdep)
tessel_bench(volatility)
