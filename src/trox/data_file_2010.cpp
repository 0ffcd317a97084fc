// Data files of the 2010 generation.
#include "generation/messages_channel_2010.h"
#include "generation/traits_channel_2010.h"
#include "trox/data_file.inl"

template struct trox::detail::typed_file<trox_detail::generation_2010>;
