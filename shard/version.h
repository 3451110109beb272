#ifndef KAVREL_SHARD_VERSION_H
#define KAVREL_SHARD_VERSION_H

namespace kavrel::shard {

constexpr const char* kVersion = KAVREL_VERSION;

}  // namespace kavrel::shard

#endif
