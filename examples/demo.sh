#!/bin/sh
# demo.sh TABFIT FOLDER: interpolates two real tables with the tabfit command; leaves tables and
# pictures in FOLDER.
set -eu
tabfit=$1 folder=$2
data=$(dirname "$0")/data
mkdir -p "$folder"

# interpolate NAME START:STOP:COUNT - linear and cubic tables, and one picture with both curves.
interpolate() {
  "$tabfit" interpolate "$data/$1.csv" --method linear --at "$2" --output "$folder/$1-linear.csv"
  "$tabfit" interpolate "$data/$1.csv" --method cubic --derivatives --at "$2" \
    --output "$folder/$1-cubic.csv" --plot "$folder/$1.svg"
  echo "$1: tables $folder/$1-linear.csv and $folder/$1-cubic.csv, picture $folder/$1.svg"
}

interpolate mercury-vapour-pressure 0:360:73
interpolate titanium 595:1075:97

echo
echo "mercury-vapour-pressure.csv at five temperatures, cubic:"
"$tabfit" interpolate "$data/mercury-vapour-pressure.csv" --method cubic --derivatives \
  --at 50,150,250,300,350 --format table
