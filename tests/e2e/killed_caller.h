// What killed_caller and the test that kills it share.
#pragma once

enum class KillStage { Starting, Serving, HandingOver, HandedOver, Talking };
inline constexpr int kKillStages = 5;
