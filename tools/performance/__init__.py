"""Measuring the layer beside others, and showing what was measured."""
