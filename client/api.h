/* What the shared object offers: everything that carries this mark, and nothing else. For C and C++. */
#ifndef POE_CLIENT_API_H
#define POE_CLIENT_API_H

#if defined(__GNUC__)
#define POE_CLIENT_API __attribute__((visibility("default")))
#else
#define POE_CLIENT_API
#endif

#endif
