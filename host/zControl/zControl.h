#pragma once
// Every public class and function of the control stand-in, for hosts that
// include one header.
#include "FramelessDialog.h"
#include "MQBaseDialog.h"
#include "MQProgressBar.h"
#include "RoundedDialog.h"
#include "zBaseModal.h"
#include "zMessageBox.h"
