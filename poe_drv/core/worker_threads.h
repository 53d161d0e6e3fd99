// Who runs on which thread. Part of the executable, not of core's library: it knows the rooms above.
//
//   main thread          start-up, then requests
//   tick thread          the tick clock
//   supervision thread   the controller, the ports, the queued changes
//   sampling thread      the energy record; built, and deliberately not started
#pragma once

// Each returns the thread creation's result: 0, or an error number. Main thread.
int poe_thread_tick_init_and_start();  // initialises the tick lock first
int poe_thread_init_and_start();       // initialises the share-data lock first
int poe_thread_power_usage_start();    // nothing calls it: this product does not sample
