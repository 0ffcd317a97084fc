// Data files of the legacy generation.
#include "generation/messages_channel_legacy.h"
#include "generation/traits_channel_legacy.h"
#include "trox/data_file.inl"

template struct trox::detail::typed_file<trox_detail::generation_legacy>;
