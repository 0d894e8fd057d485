# tessel_bench(NAME PEER_LIBRARY...)
