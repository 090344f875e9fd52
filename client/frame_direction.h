#pragma once

// As the caller sees it.
enum class FrameDirection { Sent, Received };
