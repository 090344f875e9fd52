// Nothing of it is called by what is simulated so far.
#pragma once
