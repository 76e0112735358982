#pragma once
// Every public class of the base-control stand-in, for hosts that include one
// header.
#include "InterfaceAdaptation.h"
#include "zBaseButton.h"
#include "zBaseCombox.h"
#include "zBaseFrame.h"
#include "zBaseLabel.h"
#include "zBaseLineEdit.h"
#include "zBaseMenu.h"
#include "zBaseTab.h"
#include "zBaseTheme.h"
#include "zBaseWidget.h"
#include "zCommonSplitter.h"
