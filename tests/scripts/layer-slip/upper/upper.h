#pragma once

int upper();
