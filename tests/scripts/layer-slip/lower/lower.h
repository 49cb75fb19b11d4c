#pragma once

int lower();
